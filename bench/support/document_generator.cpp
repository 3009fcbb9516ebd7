#include "support/document_generator.h"

#include <string>

namespace korrin_bench {

namespace {

constexpr int kCommonBase = 1000;
constexpr int kGroupBase = 1000000;
constexpr int kGroupStride = 1000000;

std::string model_of_group(int group) { return "Bench Model " + std::to_string(group + 1); }

// The kinds of entry a section cycles through. A pair takes two entries.
enum class Kind {
  AdminNumber,
  UserText,
  BothPair,
  AdminDigitString,
  AdminText,
  FollowingPair,
  Owner
};
constexpr Kind kCycle[] = {
    Kind::AdminNumber, Kind::UserText,      Kind::BothPair, Kind::AdminDigitString,
    Kind::AdminText,   Kind::FollowingPair, Kind::Owner,    Kind::AdminNumber};
constexpr int kCycleLength = sizeof(kCycle) / sizeof(kCycle[0]);

void entry(std::string& out, const std::string& name, const std::string& usage_id,
           const std::string& value, const char* access) {
  out += "      {\"name\": \"" + name + "\", \"usageId\": " + usage_id + ", \"value\": " + value +
         ", \"access\": \"" + access + "\"},\n";
}

// Appends a settings array of `count` entries whose usage ids come from
// `id_of(slot)`; slot is the position in the cycle, so the same slot of two
// sections holds the same kind of setting.
template <typename IdOf>
void settings_array(std::string& out, int count, IdOf id_of) {
  out += "[\n";
  const std::size_t start = out.size();
  int written = 0;
  for (int slot = 0; written < count; ++slot) {
    Kind kind = kCycle[slot % kCycleLength];
    const bool pair = kind == Kind::BothPair || kind == Kind::FollowingPair;
    if (pair && written + 2 > count) {
      kind = Kind::AdminNumber;
    }
    const int id = id_of(slot);
    const std::string number = std::to_string(id);
    const std::string name = "setting" + number;
    const std::string small = std::to_string(slot % 10);
    switch (kind) {
      case Kind::AdminNumber: entry(out, name, number, small, "Admin"); break;
      case Kind::UserText: entry(out, name, number, "\"level-" + small + "\"", "User"); break;
      case Kind::BothPair:
        entry(out, name + "_Admin", number, small, "Both");
        entry(out, name + "_User", number, "1", "Both");
        ++written;
        break;
      case Kind::AdminDigitString: entry(out, name, "\"" + number + "\"", small, "admin"); break;
      case Kind::AdminText: entry(out, name, number, "\"auto\"", "ADMIN"); break;
      case Kind::FollowingPair:
        entry(out, name + "_User", number, "\"2\"", "BOTH");
        entry(out, name + "_Admin", number, "255", "BOTH");
        ++written;
        break;
      case Kind::Owner: entry(out, name, number, small + ".5", "Owner"); break;
    }
    ++written;
  }
  if (out.size() > start) {
    out.erase(out.size() - 2, 1);  // the last entry's comma
  }
  out += "    ]";
}

}  // namespace

std::string connected_model() { return model_of_group(kModelGroups - 1); }

std::string make_document(int settings, DocumentShape* shape) {
  const int common = (settings + 1) / 2;
  const int model_specific = settings - common;
  std::string out;
  out.reserve(static_cast<std::size_t>(settings) * 80 + 1024);
  out += "{\n  \"templateConfiguration\": {\n    \"updatedTime\": 1718035200,\n";
  out += "    \"commonSettings\": ";
  settings_array(out, common, [](int slot) { return kCommonBase + slot; });
  out += ",\n    \"modelSpecificSettings\": [\n";
  int connected_group_size = 0;
  for (int group = 0; group < kModelGroups; ++group) {
    // The remainder goes to the first groups.
    const int count =
        model_specific / kModelGroups + (group < model_specific % kModelGroups ? 1 : 0);
    if (group == kModelGroups - 1) {
      connected_group_size = count;
    }
    const std::string model = model_of_group(group);
    const std::string version = "2-" + std::to_string(group) + "-0";
    out += "     {\"models\": [\"" + model + "\", \"BM" + std::to_string(group + 1) + "-Pro\"],\n";
    out += "      \"modelFirmware\": [{\"firmwareName\": \"" + model +
           " release\", \"firmwareVersion\": \"" + version + "\", \"firmwareParams\": ";
    const int overriding = count / 2;
    const int own_base = kGroupBase + group * kGroupStride;
    settings_array(out, count, [overriding, own_base](int slot) {
      return slot < overriding ? kCommonBase + slot : own_base + slot;
    });
    out += "}]}";
    out += group + 1 < kModelGroups ? ",\n" : "\n";
  }
  out += "    ]\n  },\n  \"userId\": \"bench-user\"\n}\n";
  if (shape != nullptr) {
    shape->settings = settings;
    shape->common = common;
    shape->per_group = connected_group_size;
    shape->model_groups = kModelGroups;
    shape->bytes = out.size();
  }
  return out;
}

}  // namespace korrin_bench
