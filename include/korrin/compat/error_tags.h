/// \file
/// Error-category tags that log records carry directly after the function
/// name, e.g. "save_config_to_map[QELM-ERR]: ...".
#ifndef KORRIN_COMPAT_ERROR_TAGS_H
#define KORRIN_COMPAT_ERROR_TAGS_H

#include <string>

#include "korrin/export.h"

/// Tag of library-side failures (metrics sending, settings parsing).
extern KORRIN_API const std::string ERR_LIB;
/// Tag of problems in the configuration document received from the server.
extern KORRIN_API const std::string ERR_QELM;
/// Tag of document parsing failures.
extern KORRIN_API const std::string ERR_PARSING;
/// Tag of missing or empty answers from host interfaces.
extern KORRIN_API const std::string ERR_PLUGIN;
/// Tag reserved for network failures.
extern KORRIN_API const std::string ERR_NETWORK;
/// Tag reserved for system failures.
extern KORRIN_API const std::string ERR_SYSTEM;

#endif  // KORRIN_COMPAT_ERROR_TAGS_H
