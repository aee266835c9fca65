#pragma once

// The one way the system includes cereal's JSON archives. rapidjson reports
// a wrong member type (a number read as a string, an object read as an
// array) through its assertion macro; by default that aborts the process.
// Every request body comes from another process, so a malformed one must
// become an exception the handler can turn into a 400, never an abort.
// This header therefore has to come before any other inclusion of
// rapidjson in a translation unit.

#if defined(RAPIDJSON_ASSERT) && !defined(RAPIDJSON_ASSERT_THROWS)
#error "rapidjson was included before common/JSON.h: its assertions would abort"
#endif

#include <cereal/details/helpers.hpp>

#ifndef RAPIDJSON_ASSERT_THROWS
#define RAPIDJSON_ASSERT_THROWS
#endif
#ifndef RAPIDJSON_ASSERT
#define RAPIDJSON_ASSERT(x)                                                                                            \
    if (!(x))                                                                                                          \
    {                                                                                                                  \
        throw ::cereal::Exception("rapidjson internal assertion failure: " #x);                                        \
    }
#endif

#include <cereal/archives/json.hpp>
#include <cereal/cereal.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>
