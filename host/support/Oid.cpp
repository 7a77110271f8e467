#include "host/support/Oid.h"

namespace ketmon {

using KetStats::COid;

namespace {

constexpr std::size_t longestText = 64;

} // namespace

std::optional<COid> parsedOid(std::string const & text)
{
    if (text.size() > longestText)
        return {};
    try {
        COid const oid(text);
        if (oid.toString() == text)
            return oid;
    } catch (COid::CException * raised) {
        delete raised;
    }
    return {};
}

} // namespace ketmon
