// Reading the host's input files. Kept apart from the parsing in
// json_input.h and accessory.h, which work on text alone and so also serve
// programs that have no file system (korrin_host_core).
#ifndef KORRIN_HOST_INPUT_FILES_H
#define KORRIN_HOST_INPUT_FILES_H

#include <string>
#include <vector>

#include "korrin_host/accessory.h"
#include "korrin_host/json_input.h"

namespace korrin_host {

/// The whole content of a file; throws InputError "cannot read PATH: REASON".
std::string read_text_file(const std::string& path);

/// Reads and parses the JSON file at `path`, which becomes the origin.
JsonDocument read_json_file(const std::string& path);

/// Reads and parses an accessories file; InputError when unreadable or malformed.
std::vector<AccessoryFacts> load_accessories(const std::string& path);

}  // namespace korrin_host

#endif  // KORRIN_HOST_INPUT_FILES_H
