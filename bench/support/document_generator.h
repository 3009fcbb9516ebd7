// Realistic configuration documents of any size for the benchmarks.
//
// A document of N settings holds N settings entries in all: about half in
// "commonSettings", the rest spread over several model groups of
// "modelSpecificSettings". Each section repeats a fixed mix of entry kinds:
// administrator and user settings (numbers and texts, usage ids as numbers
// and as digit strings, access spelled in several letter cases, an unknown
// access that reads as "User") and "Both" pairs, some of them following the
// user's own value (255). A model group's first half reuses the usage ids of
// the common section, so it overrides them; its second half adds its own.
#ifndef KORRIN_BENCH_SUPPORT_DOCUMENT_GENERATOR_H
#define KORRIN_BENCH_SUPPORT_DOCUMENT_GENERATOR_H

#include <string>

namespace korrin_bench {

/// What a generated document holds, for checks and counters.
struct DocumentShape {
  int settings = 0;       ///< settings entries in the whole document
  int common = 0;         ///< entries in "commonSettings"
  int per_group = 0;      ///< entries of the connected model's group
  int model_groups = 0;   ///< number of model groups
  std::size_t bytes = 0;  ///< length of the text
};

/// Model groups in every generated document.
constexpr int kModelGroups = 4;

/// The accessory model named by the last model group, so the model search
/// walks every group before it matches.
std::string connected_model();

/// A configuration document holding `settings` settings entries.
std::string make_document(int settings, DocumentShape* shape = nullptr);

}  // namespace korrin_bench

#endif  // KORRIN_BENCH_SUPPORT_DOCUMENT_GENERATOR_H
