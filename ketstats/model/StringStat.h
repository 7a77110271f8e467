#pragma once

#include "ketstats/model/BaseStat.h"

namespace KetStats {

// A leaf that holds a text. Packed form: a 16-bit length and that many bytes; of a longer text only the low
// 16 bits of the length count, so it loses its tail. A text keeps its value through a reset. Texts compare as
// zero-terminated byte strings.
class KETSTATS_API CStringStat : public CBaseStat
{
public:
    CStringStat(CBaseStat * theParent, unsigned short theId, CValueStatDescription const & theDescription,
                std::string const & initial = {});
    ~CStringStat() = default;

    // Replaces the text; `changed` stays.
    CStringStat & operator=(std::string const & text)
    {
        m_text = text;
        return *this;
    }
    operator std::string &() { return m_text; }
    std::string const & get() const { return m_text; }

    int collate(CBaseStat const & other) const override;
    using CBaseStat::getChild;
    CBaseStat * getChild(unsigned int index) override;
    unsigned int getChildrenCount() const override;

protected:
    void doUnpackValue(ktools::CMemoryBuffer & buffer) override;
    void doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged) override;
    void doAssign(CBaseStat const & other) override;
    void doReset() override;
    int doCompare(CBaseStat const & other) const override;
    bool doCompareAssign(CBaseStat const & other) override;

private:
    std::string m_text;
};

} // namespace KetStats
