#pragma once

#include "ketstats/model/BaseStat.h"

#include <atomic>
#include <type_traits>

namespace KetStats {

// How values of a leaf type are told apart and ordered, where that isn't plainly == and <.
template <class T>
struct CStatValueTraits
{
    static bool differ(T const & left, T const & right) { return !(left == right); }
    static bool before(T const & left, T const & right) { return left < right; }
};

template <>
inline bool CStatValueTraits<CMACAddrPacked>::before(CMACAddrPacked const & left,
                                                     CMACAddrPacked const & right)
{
    return left.bytes < right.bytes;
}

template <>
inline bool CStatValueTraits<CProtocolIdPacked>::differ(CProtocolIdPacked const & left,
                                                        CProtocolIdPacked const & right)
{
    return left.bytes != right.bytes;
}

template <>
inline bool CStatValueTraits<CProtocolIdPacked>::before(CProtocolIdPacked const & left,
                                                        CProtocolIdPacked const & right)
{
    return left.bytes < right.bytes;
}

// A leaf that holds one T. It has the public operations of a value beside those of a node:
//
//     operator=, operator T       leave `changed` alone
//     add                         adds with no overflow test and raises `changed`: what counting means
//     compareAssign(T const &)    can only raise `changed`, where CBaseStat's decides it afresh
//
// Percentages differ for compareAssign(T const &) only if they do so at the resolution of one hundredth.
template <class T>
class KETSTATS_TEMPLATE CValueStat : public CBaseValueStat
{
public:
    using Value = T;

    CValueStat(CBaseStat * theParent, unsigned short theId, CValueStatDescription const & theDescription)
        : CBaseValueStat(theParent, theId, theDescription, sizeof(T), &m_value)
    {}

    // A node outside any tree, with the id 1 and no value of its own. Copying a node gives such a one too.
    CValueStat() { id = 1; }
    CValueStat(CValueStat const & /*other*/) : CValueStat() {}

    CValueStat & operator=(T const & other)
    {
        m_value = other;
        return *this;
    }
    CValueStat & operator=(CValueStat const & other)
    {
        m_value = other.m_value;
        return *this;
    }

    operator T() const { return m_value; }
    T const & get() const { return m_value; }

    // For the few counters that are stored while others read them: one word, of which a reader sees the old
    // or the new value.
    template <class Word = T>
    requires std::is_integral_v<Word> Word shared()
    const { return std::atomic_ref<Word>(const_cast<Word &>(m_value)).load(std::memory_order_relaxed); }
    template <class Word = T>
    requires std::is_integral_v<Word>
    void storeShared(std::type_identity_t<Word> figure)
    {
        std::atomic_ref<Word>(m_value).store(figure, std::memory_order_relaxed);
    }

    template <class Amount = T>
    requires std::is_integral_v<Amount>
    void add(std::type_identity_t<Amount> amount)
    {
        m_value = static_cast<T>(static_cast<unsigned long long>(m_value) +
                                 static_cast<unsigned long long>(amount));
        changed = true;
    }

    using CBaseStat::compareAssign;
    bool compareAssign(T const & other)
    {
        if (!CStatValueTraits<T>::differ(m_value, other))
            return false;
        m_value = other;
        changed = true;
        return true;
    }

    int collate(CBaseStat const & other) const override
    {
        T const & theirs = static_cast<CValueStat const &>(other).m_value;
        if (CStatValueTraits<T>::before(m_value, theirs))
            return -1;
        return CStatValueTraits<T>::before(theirs, m_value) ? 1 : 0;
    }

private:
    T m_value{};
};

KETSTATS_EXTERN_TEMPLATE(CValueStat<unsigned short>);
KETSTATS_EXTERN_TEMPLATE(CValueStat<unsigned int>);
KETSTATS_EXTERN_TEMPLATE(CValueStat<long long>);
KETSTATS_EXTERN_TEMPLATE(CValueStat<percentVal>);
KETSTATS_EXTERN_TEMPLATE(CValueStat<CIPAddress>);
KETSTATS_EXTERN_TEMPLATE(CValueStat<CIPv6Address>);
KETSTATS_EXTERN_TEMPLATE(CValueStat<CMACAddrPacked>);
KETSTATS_EXTERN_TEMPLATE(CValueStat<CProtocolIdPacked>);

} // namespace KetStats
