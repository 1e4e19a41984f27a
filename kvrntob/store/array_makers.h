// New host arrays of plain values, the caller's.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/integers.h"

namespace kvr {

vrArray* makeInt32(int32 value);                          // 1-by-1
vrArray* makeInt32Row(const std::vector<int32>& values);  // 1-by-n
vrArray* makeInt32Empty();                                // 0-by-0
vrArray* makeDouble(double value);                        // 1-by-1
vrArray* makeDoubleRow(const std::vector<double>& values);
vrArray* makeString(const std::string& text);  // ends at a NUL; empty gives 0-by-0
vrArray* makeStructure(std::span<const char* const> fieldNames);  // 1-by-1, fields to be set

}  // namespace kvr
