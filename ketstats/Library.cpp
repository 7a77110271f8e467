// What is built when the library is loaded, in this order and no other, and the entry function behind it.
// Every object here is torn down when the library goes, in the reverse order. Nothing here may fetch a
// string: the module whose table is read isn't known before the entry function ran. That is why names load
// lazily.

#include "ketstats/engine/EngineTables.h"
#include "ketstats/platform/Loader.h"
#include "ketstats/text/ModulePath.h"
#include "ketstats/text/Multiplier.h"
#include "ketstats/text/StatFormatContainer.h"
#include "ketstats/text/StringResources.h"

#include <iterator>
#include <utility>

namespace KetStats {

// 1. The identifiers of the top-level groups and their enable flags.
static std::pair<COid const, int> const topLevelPairs[] = {
    {"1.1", 1}, {"1.2", 2}, {"1.3", 3}, {"1.4", 4}, {"1.5", 5},
    {"1.6", 6}, {"1.7", 7}, {"1.8", 8}, {"1.9", 9},
};

// 2. The map of them.
std::map<COid, int, COidLess> const topLevelOids(std::begin(topLevelPairs), std::end(topLevelPairs));

// 3. The multipliers, each computed from the one before of its kind. They stand before the format lists,
// which read them, and outlive those.
Multiplier const mKiloCS(1024, "kilo", "K");
Multiplier const mKilo(1000, "kilo", "k");
Multiplier const mMegaCS(mKiloCS.value * 1024, "mega", "M");
Multiplier const mMega(mKilo.value * 1000, "mega", "M");
Multiplier const mGigaCS(mMegaCS.value * 1024, "giga", "G");
Multiplier const mGiga(mMega.value * 1000, "giga", "G");
Multiplier const mTeraCS(mGigaCS.value * 1024, "tera", "T");
Multiplier const mTera(mGiga.value * 1000, "tera", "T");
Multiplier const mPetaCS(mTeraCS.value * 1024, "peta", "P");
Multiplier const mPeta(mTera.value * 1000, "peta", "P");
Multiplier const mExaCS(mPetaCS.value * 1024, "exa", "E");
Multiplier const mExa(mPeta.value * 1000, "exa", "E");

Multiplier const * const multipliers[multiplierCount + 1] = {
    &mKiloCS, &mKilo,   &mMegaCS, &mMega,  &mGigaCS, &mGiga,  &mTeraCS,
    &mTera,   &mPetaCS, &mPeta,   &mExaCS, &mExa,    nullptr,
};

// 4. to 7.
static CStandardIntegerFormats const standardIntegerFormats;
static CStandardDoubleFormats const standardDoubleFormats;
static CStandardMACFormats const standardMACFormats;
static CStandardIPFormats const standardIPFormats;

// 8. The names of the IP sub-protocols are constants and need no building.

// 9. and 10.
static CStandardProtocolIdFormats const standardProtocolIdFormats;
static CStandardStringFormats const standardStringFormats;

// 11. to 16. The lists that belong to the host go first, and with them the host's formats.
static CStatFormatContainerBase customIntegerFormats(CStatFormatBase::vtInteger);
static CStatFormatContainerBase customDoubleFormats(CStatFormatBase::vtDouble);
static CStatFormatContainerBase customMACFormats(CStatFormatBase::vtMAC);
static CStatFormatContainerBase customIPFormats(CStatFormatBase::vtIP);
static CStatFormatContainerBase customStringFormats(CStatFormatBase::vtString);
static CStatFormatContainerBase customProtocolIdFormats(CStatFormatBase::vtInteger);

// 17. and 18. The lists of IPv6 addresses came later.
static CStandardIPv6Formats const standardIPv6Formats;
static CStatFormatContainerBase customIPv6Formats(CStatFormatBase::vtIPv6);

// Where the lists are is known from the start, before any of them is built.
constinit CStatFormatContainerBase const * const StandardIntegerFormats = &standardIntegerFormats;
constinit CStatFormatContainerBase const * const StandardDoubleFormats = &standardDoubleFormats;
constinit CStatFormatContainerBase const * const StandardMACFormats = &standardMACFormats;
constinit CStatFormatContainerBase const * const StandardIPFormats = &standardIPFormats;
constinit CStatFormatContainerBase const * const StandardIPv6Formats = &standardIPv6Formats;
constinit CStatFormatContainerBase const * const StandardStringFormats = &standardStringFormats;
constinit CStatFormatContainerBase const * const StandardProtocolIdFormats = &standardProtocolIdFormats;

constinit CStatFormatContainerBase * const CustomIntegerFormats = &customIntegerFormats;
constinit CStatFormatContainerBase * const CustomDoubleFormats = &customDoubleFormats;
constinit CStatFormatContainerBase * const CustomMACFormats = &customMACFormats;
constinit CStatFormatContainerBase * const CustomIPFormats = &customIPFormats;
constinit CStatFormatContainerBase * const CustomIPv6Formats = &customIPv6Formats;
constinit CStatFormatContainerBase * const CustomStringFormats = &customStringFormats;
constinit CStatFormatContainerBase * const CustomProtocolIdFormats = &customProtocolIdFormats;

// The entry function: runs when the library is attached to a process, with everything above in place.
static void processAttach(HMODULE module)
{
    initModulePath(module);
    CStringResources::instance().module = module;
}

static platform::CAttachAtLoad const attachAtLoad(&processAttach);

} // namespace KetStats
