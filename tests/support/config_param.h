// Building a stored setting in one expression.
#ifndef KORRIN_TESTS_SUPPORT_CONFIG_PARAM_H
#define KORRIN_TESTS_SUPPORT_CONFIG_PARAM_H

#include <string>

#include "korrin/config.h"

namespace korrin_test {

/// A setting with every member given.
inline korrin::ConfigParam param(int usage_id, const std::string& key, const std::string& value,
                                 const std::string& access, const std::string& user_value = "") {
  korrin::ConfigParam p;
  p.usage_id = usage_id;
  p.key = key;
  p.value = value;
  p.access = access;
  p.user_value = user_value;
  return p;
}

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_CONFIG_PARAM_H
