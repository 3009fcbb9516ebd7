/// \file
/// Umbrella header: everything a host needs to use libkorrin.
#ifndef KORRIN_KORRIN_H
#define KORRIN_KORRIN_H

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
