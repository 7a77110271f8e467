#include "ketstats/capture/Frame.h"

CFrame::~CFrame() = default;

unsigned char const * CFrame::GetData() const
{
    return m_data;
}

int CFrame::GetLength() const
{
    return static_cast<int>(m_length);
}

unsigned int CFrame::GetCapturedLength() const
{
    return m_capturedLength;
}
