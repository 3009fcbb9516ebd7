# cJSON compiled from its source as a static library, under the target name
# the rest of the build links against (PkgConfig::CJSON). Used where no
# libcjson exists to link with, i.e. the WebAssembly build.
enable_language(C)

if(NOT EXISTS "${KORRIN_CJSON_SOURCE_DIR}/cJSON.c" OR NOT EXISTS "${KORRIN_CJSON_SOURCE_DIR}/cJSON.h")
  message(FATAL_ERROR "KORRIN_CJSON_SOURCE_DIR=${KORRIN_CJSON_SOURCE_DIR} holds no cJSON.c and cJSON.h "
                      "(scripts/fetch-cjson-source unpacks them)")
endif()

# The library includes <cjson/cJSON.h>, as installed by libcjson-dev.
set(_korrin_cjson_include "${CMAKE_CURRENT_BINARY_DIR}/cjson-include")
configure_file("${KORRIN_CJSON_SOURCE_DIR}/cJSON.h" "${_korrin_cjson_include}/cjson/cJSON.h" COPYONLY)

add_library(korrin_cjson STATIC "${KORRIN_CJSON_SOURCE_DIR}/cJSON.c")
target_include_directories(korrin_cjson PUBLIC "${_korrin_cjson_include}" PRIVATE "${KORRIN_CJSON_SOURCE_DIR}")
add_library(PkgConfig::CJSON ALIAS korrin_cjson)
