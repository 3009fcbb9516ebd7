// The entry point of the browser checker's WebAssembly module: one call,
// `plan`, from a document and accessory descriptions to the plan as JSON
// bytes, the document `korrin-host plan --fleet FILE --format json` prints
// for the same inputs.
#include <emscripten/bind.h>
#include <emscripten/val.h>

#include <cstdint>
#include <string>

#include "korrin_plan/format.h"
#include "korrin_plan/plan.h"

namespace {

// Quotes `text` as a JSON string (the error document is the only JSON this
// file writes itself).
std::string json_string(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    switch (c) {
      case '"': quoted += "\\\""; break;
      case '\\': quoted += "\\\\"; break;
      case '\n': quoted += "\\n"; break;
      case '\t': quoted += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          static const char kHex[] = "0123456789abcdef";
          quoted += "\\u00";
          quoted += kHex[(c >> 4) & 0xf];
          quoted += kHex[c & 0xf];
        } else {
          quoted += c;
        }
    }
  }
  return quoted + "\"";
}

/// Plans `document` for the accessories of `accessories_json` (an
/// accessories file: one object or an array of them, planned as a fleet).
/// An empty `previous_document_name` means no previous document; an empty
/// `previous_time` with `has_previous_time` false means no stamp. Returns
/// the plan document, or {"error": "..."} for input the planner refuses
/// (malformed accessories, an empty list, an id given twice).
std::string plan(const std::string& document_name, const std::string& document,
                 const std::string& accessories_name, const std::string& accessories_json,
                 const std::string& previous_document_name, const std::string& previous_document,
                 bool has_previous_time, const std::string& previous_time) {
  korrin_plan::PlanRequest request;
  request.document_name = document_name;
  request.document = document;
  request.fleet = true;
  request.accessories.push_back({accessories_name, accessories_json});
  if (!previous_document_name.empty()) {
    request.previous_document = previous_document;
    request.previous_document_name = previous_document_name;
  }
  if (has_previous_time) {
    request.previous_time = previous_time;
  }
  // The command line answers "file://" + the document's path; the page has
  // only the name it was given.
  request.config_url_template = "file://" + document_name;
  try {
    return korrin_plan::format_plan_json(korrin_plan::plan_document(request));
  } catch (const korrin_plan::InputError& error) {
    return "{\"error\": " + json_string(error.what()) + "}\n";
  }
}

/// plan() with the plan as bytes (a Uint8Array): the document's strings
/// reach the plan unchanged, invalid UTF-8 included, where a JavaScript
/// string would replace such bytes. Texts may be given as strings (passed as
/// UTF-8) or as Uint8Arrays (passed as they are).
emscripten::val plan_bytes(const std::string& document_name, const std::string& document,
                           const std::string& accessories_name, const std::string& accessories_json,
                           const std::string& previous_document_name,
                           const std::string& previous_document, bool has_previous_time,
                           const std::string& previous_time) {
  const std::string json =
      plan(document_name, document, accessories_name, accessories_json, previous_document_name,
           previous_document, has_previous_time, previous_time);
  const emscripten::val view = emscripten::val(emscripten::typed_memory_view(
      json.size(), reinterpret_cast<const std::uint8_t*>(json.data())));
  return view.call<emscripten::val>("slice");
}

}  // namespace

EMSCRIPTEN_BINDINGS(korrin_web) { emscripten::function("plan", &plan_bytes); }
