#pragma once

// Everything that a host needs.

#include "ketstats/Version.h"
#include "ketstats/capture/FieldFilters.h"
#include "ketstats/capture/Filter.h"
#include "ketstats/capture/IPv6Filters.h"
#include "ketstats/capture/NetworkFrame.h"
#include "ketstats/capture/Requester.h"
#include "ketstats/capture/VlanFilter.h"
#include "ketstats/engine/StatManager.h"
#include "ketstats/ktools/MemoryBuffer.h"
#include "ketstats/model/StatTypes.h"
#include "ketstats/schema/AgentStatistic.h"
#include "ketstats/schema/RowFilters.h"
#include "ketstats/snapshot/StatSnapshot.h"
#include "ketstats/text/FixedPoint.h"
#include "ketstats/text/IPSubProtocolFormat.h"
#include "ketstats/text/Multiplier.h"
#include "ketstats/text/StatDescription.h"
#include "ketstats/text/StatFormat.h"
#include "ketstats/text/StatFormatContainer.h"
#include "ketstats/text/StringResources.h"
