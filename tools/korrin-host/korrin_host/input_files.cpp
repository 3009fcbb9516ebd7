#include "korrin_host/input_files.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace korrin_host {

std::string read_text_file(const std::string& path) {
  // A directory opens as a stream that reads nothing: say what it is instead.
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw InputError("cannot read " + path + ": " + std::strerror(EISDIR));
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw InputError("cannot read " + path + ": " + std::strerror(errno));
  }
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) {
    throw InputError("cannot read " + path + ": read error");
  }
  return content.str();
}

JsonDocument read_json_file(const std::string& path) {
  return JsonDocument(read_text_file(path), path);
}

std::vector<AccessoryFacts> load_accessories(const std::string& path) {
  return parse_accessories(read_text_file(path), path);
}

}  // namespace korrin_host
