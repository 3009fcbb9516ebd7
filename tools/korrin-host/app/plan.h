// `korrin-host plan`: the command-line front end of the planning library
// (korrin_plan). It reads the files, plans, and chooses how to print.
#ifndef KORRIN_HOST_APP_PLAN_H
#define KORRIN_HOST_APP_PLAN_H

#include <iosfwd>
#include <string>
#include <vector>

#include "korrin/host_log.h"
#include "korrin_plan/format.h"
#include "korrin_plan/plan.h"

namespace korrin_host {

/// How the plan is printed.
enum class PlanFormat { kText, kJson };

/// Everything `plan` is told.
struct PlanOptions {
  std::string document_file;
  /// Files of one accessory (a JSON object) or of several (an array).
  std::vector<std::string> accessory_files;
  /// An accessories file planned as a whole, with a summary table.
  std::string fleet_file;
  /// The version stamp to ask the configure-required question with.
  std::string previous_time;
  bool previous_time_given = false;
  PlanFormat format = PlanFormat::kText;
  /// Plan as a host without a configuration URL template.
  bool no_url_template = false;
  /// An earlier document to compare with (--previous).
  std::string previous_file;
  /// Any finding of severity warning or error fails the run (--strict).
  bool strict = false;
  /// Copy the library's records to the log stream, up to this level.
  bool log_records = false;
  korrin::log::LogLevel log_level = korrin::log::warning;
};

/// Whether text output is coloured: `color_option` is the --color value
/// ("always", "never" or "auto"); "auto" colours only on a terminal and only
/// when `no_color` (the NO_COLOR variable, null when unset) is unset or empty.
bool plan_colour(const std::string& color_option, bool terminal, const char* no_color);

/// Reads the input files and plans every accessory. Throws InputError for
/// an unreadable or malformed input file and for an empty accessory list.
korrin_plan::PlanReport run_plan(const PlanOptions& options, std::ostream& log_stream);

}  // namespace korrin_host

#endif  // KORRIN_HOST_APP_PLAN_H
