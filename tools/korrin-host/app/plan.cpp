#include "plan.h"

#include <filesystem>
#include <ostream>

#include "korrin_host/input_files.h"
#include "korrin_host/log_sink.h"

namespace korrin_host {

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
  request.no_url_template = options.no_url_template;
  request.config_url_template =
      "file://" + std::filesystem::absolute(options.document_file).lexically_normal().string();

  LogSinkOptions sink_options;
  sink_options.max_level = options.log_level;
  LogSink sink(sink_options, log_stream);
  if (options.log_records) {
    request.log_forward = &sink;
  }
  return korrin_plan::plan_document(request);
}

}  // namespace korrin_host
