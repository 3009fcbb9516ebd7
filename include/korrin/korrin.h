/// \file
/// Umbrella header: everything libkorrin declares, the host-facing headers
/// and the exported implementation classes under korrin/compat/.
#ifndef KORRIN_KORRIN_H
#define KORRIN_KORRIN_H

#include "korrin/compat/config_impl.h"
#include "korrin/compat/config_manager_impl.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/error_tags.h"
#include "korrin/compat/inventory_metric.h"
#include "korrin/compat/string_utils.h"
#include "korrin/config.h"
#include "korrin/config_manager.h"
#include "korrin/constants.h"
#include "korrin/error_tags.h"
#include "korrin/export.h"
#include "korrin/host_log.h"
#include "korrin/logger.h"
#include "korrin/metrics.h"
#include "korrin/plugins.h"
#include "korrin/request.h"
#include "korrin/string_utils.h"
#include "korrin/version.h"

#endif  // KORRIN_KORRIN_H
