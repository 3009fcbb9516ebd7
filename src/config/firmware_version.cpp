// Firmware version names: splitting them into pieces and deciding whether
// the configured version should replace the one the accessory reports.
#include <cstdlib>

#include "config/firmware_verdict.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/string_utils.h"

namespace korrin {
namespace config {

namespace {

// A piece read the way strtol reads it: "+" or "dev" is 0, "010" is 10, and
// a piece beyond the range of long saturates instead of overflowing.
long piece_number(const std::string& piece) { return std::strtol(piece.c_str(), nullptr, 10); }

}  // namespace

std::vector<std::string> ConfigImpl::parse_firmware_version(std::string version) {
  logger_->info() << "parse_firmware_version: Parsing: " << version;
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (;;) {
    const std::size_t dash = version.find('-', start);
    if (dash == std::string::npos) {
      pieces.push_back(version.substr(start));
      return pieces;
    }
    pieces.push_back(version.substr(start, dash - start));
    start = dash + 1;
  }
}

int ConfigImpl::check_firmware_upgrade(std::string const& candidate, std::string const& reported) {
  const std::vector<std::string> candidate_pieces = parse_firmware_version(candidate);
  logger_->notice() << "check_firmware_upgrade: FW ver candidate from Configuration: " << candidate;
  const std::vector<std::string> reported_pieces = parse_firmware_version(reported);
  logger_->notice() << "check_firmware_upgrade: System info reported FW: " << reported;

  if (candidate.empty() || reported.empty()) {
    logger_->info() << "check_firmware_upgrade: firmware version is empty";
    return detail::kFirmwareVersionEmpty;
  }
  if (candidate == reported) {
    logger_->info() << "check_firmware_upgrade: versions are the same, do nothing";
    return detail::kFirmwareNoUpgrade;
  }
  // Only the configured name is checked: the accessory reports what it runs.
  if (is_naming_corrupted(candidate)) {
    // Kept as written ("candidate<", ">, reported<"): hosts match on this record.
    logger_->warning() << "check_firmware_upgrade: naming format not supported, candidate<"
                       << candidate << ">, reported<" << reported << ">";
    return detail::kFirmwareNoUpgrade;
  }
  // Accessories that accept a downgrade take every other configured version.
  if (supports_downgrade()) {
    return detail::kFirmwareUpgrade;
  }
  if (candidate_pieces.size() != reported_pieces.size()) {
    logger_->warning() << "check_firmware_upgrade: name formats do not match, allow anyway";
    return detail::kFirmwareUpgrade;
  }
  if (is_alpha(candidate) || is_alpha(reported)) {
    logger_->info() << "check_firmware_upgrade: switching between dev and release, allow";
    return detail::kFirmwareUpgrade;
  }
  for (std::size_t i = 0; i < candidate_pieces.size(); ++i) {
    const long wanted = piece_number(candidate_pieces[i]);
    const long running = piece_number(reported_pieces[i]);
    if (wanted < running) {
      return detail::kFirmwareDowngradeRefused;
    }
    if (wanted > running) {
      return detail::kFirmwareUpgrade;
    }
  }
  // Equal numbers written differently ("01-2" and "1-2").
  return detail::kFirmwareUpgrade;
}

}  // namespace config
}  // namespace korrin
