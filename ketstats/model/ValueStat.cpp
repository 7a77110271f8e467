#include "ketstats/model/ValueStat.h"

namespace KetStats {

template class CValueStat<unsigned short>;
template class CValueStat<unsigned int>;
template class CValueStat<long long>;
template class CValueStat<percentVal>;
template class CValueStat<CIPAddress>;
template class CValueStat<CIPv6Address>;
template class CValueStat<CMACAddrPacked>;
template class CValueStat<CProtocolIdPacked>;

} // namespace KetStats
