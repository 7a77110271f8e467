#pragma once

// The chief header of the statistic model: values, nodes, leaves, groups and tables.

#include "ketstats/model/BaseStat.h"
#include "ketstats/model/BaseStaticContainerStat.h"
#include "ketstats/model/HashTable.h"
#include "ketstats/model/HashedContainerStat.h"
#include "ketstats/model/StringStat.h"
#include "ketstats/model/ValueStat.h"
#include "ketstats/model/statvalues.h"
