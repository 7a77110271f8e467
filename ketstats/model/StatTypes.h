#pragma once

// The chief header of the statistic model: values, nodes, leaves and groups.

#include "ketstats/model/BaseStat.h"
#include "ketstats/model/BaseStaticContainerStat.h"
#include "ketstats/model/StringStat.h"
#include "ketstats/model/ValueStat.h"
#include "ketstats/model/statvalues.h"
