#include "plan.h"

#include <filesystem>
#include <ostream>

#include "korrin/host/log_sink.h"
#include "korrin_check/finding.h"
#include "korrin_host/input_files.h"

namespace korrin_host {

namespace {

// Passes the library's records on with their control characters escaped:
// they quote the document, and --log-level writes them to a terminal.
class EscapingLog : public korrin::log::HostLogInterface {
 public:
  explicit EscapingLog(korrin::log::HostLogInterface& sink) : sink_(sink) {}
  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    try {
      sink_.write_record(level, korrin_check::escape_control_characters(text));
    } catch (...) {
      // The library delivers records from destructors.
    }
  }

 private:
  korrin::log::HostLogInterface& sink_;
};

}  // namespace

bool plan_colour(const std::string& color_option, bool terminal, const char* no_color) {
  if (color_option == "always") {
    return true;
  }
  if (color_option != "auto") {
    return false;
  }
  return terminal && (no_color == nullptr || no_color[0] == '\0');
}

korrin_plan::PlanReport run_plan(const PlanOptions& options, std::ostream& log_stream) {
  korrin_plan::PlanRequest request;
  request.document_name = options.document_file;
  request.document = read_text_file(options.document_file);
  request.fleet = !options.fleet_file.empty();
  if (request.fleet) {
    request.accessories.push_back({options.fleet_file, read_text_file(options.fleet_file)});
  }
  for (const std::string& file : options.accessory_files) {
    request.accessories.push_back({file, read_text_file(file)});
  }
  if (options.previous_time_given) {
    request.previous_time = options.previous_time;
  }
  if (!options.previous_file.empty()) {
    request.previous_document_name = options.previous_file;
    request.previous_document = read_text_file(options.previous_file);
  }
  request.no_url_template = options.no_url_template;
  request.strict = options.strict;
  request.config_url_template =
      "file://" + std::filesystem::absolute(options.document_file).lexically_normal().string();

  korrin::host::LogSinkOptions sink_options;
  sink_options.max_level = options.log_level;
  korrin::host::LogSink sink(sink_options, log_stream);
  EscapingLog escaped(sink);
  if (options.log_records) {
    request.log_forward = &escaped;
  }
  return korrin_plan::plan_document(request);
}

}  // namespace korrin_host
