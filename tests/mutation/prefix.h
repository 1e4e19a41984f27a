// Included before everything else in the instrumented build, precompiled: what the instrumented
// sources ask, and the large headers.
#pragma once

extern "C" __attribute__((visibility("default"))) bool kvrMutant(
    int number) noexcept;  // switch.cpp

#define KVR_STATIC_CONST inline static const  // in place of "static constexpr", and as long

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/lexical_cast.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/unordered_map.hpp>
#include <cmath>
#include <functional>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>
