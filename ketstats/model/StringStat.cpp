#include "ketstats/model/StringStat.h"

#include <cstring>

namespace KetStats {

int CStringStat::collate(CBaseStat const & other) const
{
    return doCompare(other);
}

CBaseStat * CStringStat::getChild(unsigned int /*index*/)
{
    return nullptr;
}

unsigned int CStringStat::getChildrenCount() const
{
    return 0;
}

void CStringStat::doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    auto const length = static_cast<unsigned short>(m_text.size());
    buffer.Write(&length, sizeof length);
    if (length != 0)
        buffer.Write(m_text.data(), length);
    if (onlyChanged)
        changed = false;
}

void CStringStat::doUnpackValue(ktools::CMemoryBuffer & buffer)
{
    unsigned short length = 0;
    buffer.Read(&length, sizeof length);
    std::string text(length, '\0');
    buffer.Read(text.data(), length);
    m_text.swap(text);
    changed = true;
}

void CStringStat::doAssign(CBaseStat const & other)
{
    m_text = static_cast<CStringStat const &>(other).m_text;
}

void CStringStat::doReset() {}

int CStringStat::doCompare(CBaseStat const & other) const
{
    int const order = std::strcmp(m_text.c_str(), static_cast<CStringStat const &>(other).m_text.c_str());
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

bool CStringStat::doCompareAssign(CBaseStat const & other)
{
    changed = doCompare(other) != 0;
    if (changed)
        doAssign(other);
    return changed;
}

} // namespace KetStats
