// The optional inputs of add. An empty array of any class stands for none.
#pragma once

#include <vector>

#include "kvrntob/base/codes.h"
#include "kvrntob/host/libvr.h"

namespace kvr {

// 0 if empty; else a numeric scalar, truncated, not below zero.
// Fails with NOT_INTEGER_SCALAR, then NOT_POSITIVE, both "Time Dimension".
int32 readTimeDimension(const vrArray* array);

// Empty if empty; else a vector of an integer class, read as 32-bit words whatever the class.
// Fails with NOT_INTEGER, then NOT_VECTOR, both "sample dimensions".
std::vector<int32> readSampleDimensions(const vrArray* array);

// 0 if empty; else an integer scalar, not below zero.
// Fails with NOT_INTEGER_SCALAR, then NOT_POSITIVE, both "Port Index".
int32 readPortIndex(const vrArray* array);

// As the sample dimensions. Fails with NOT_INTEGER, then NOT_1BY2VECTOR, both "channel".
std::vector<int32> readChannel(const vrArray* array);

// 0, no parent, if empty; else a numeric scalar, truncated, not below zero.
// Fails with NOT_INTEGER_SCALAR("Parent data id"), then NOT_POSITIVE("Parent id").
int32 readParent(const vrArray* array);

}  // namespace kvr
