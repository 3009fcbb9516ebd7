// The plan printed for people (text) and for programs (JSON).
#ifndef KORRIN_PLAN_FORMAT_H
#define KORRIN_PLAN_FORMAT_H

#include <string>

#include "korrin_plan/plan.h"

namespace korrin_plan {

/// How the text form is printed.
struct TextOptions {
  /// Colour the severities and outcomes with ANSI escape sequences.
  bool color = false;
  /// Findings and the summary line only, without the per-accessory plans.
  bool summary_only = false;
};

/// The plan as text (with the summary table for a fleet). Every text that
/// comes from the document or the accessories is printed with its control
/// characters escaped, so the output is safe on a terminal.
std::string format_plan_text(const PlanReport& report, const TextOptions& options = TextOptions());

/// The plan as a JSON document (schema: docs/plan-schema.md), exactly what
/// `korrin-host plan --format json` prints.
std::string format_plan_json(const PlanReport& report);

/// "note: the previous document X cannot be read as JSON by the library,
/// ...": for a report whose previous document the library cannot parse.
std::string previous_unreadable_note(const PlanReport& report);

/// "1730000000" for whole numbers, the shortest exact form otherwise.
std::string format_time_number(double time);

}  // namespace korrin_plan

#endif  // KORRIN_PLAN_FORMAT_H
