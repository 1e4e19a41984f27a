// Host arrays of any class, shape and content, read off the bytes of a fuzz input.
#pragma once

#include "tests/fuzz/bytes.h"
#include "tests/models/plain_array.h"

namespace kvr::fuzz {

// Objects are numbered from 1 to `objects`; a handle may name one more, which there is not.
models::PlainArray anyArray(Bytes& bytes, int objects);

// A character array; half of them words that methods know.
models::PlainArray anyText(Bytes& bytes);

// Mostly an array that goes through under the type of a signature: h a handle, i an int32, d a
// double, s a string, any other letter an array of any kind.
models::PlainArray fitting(Bytes& bytes, char type, int objects);

// The structures of tolerances and of synchronisation options with up to three things changed.
models::PlainArray toleranceLike(Bytes& bytes, int objects);
models::PlainArray syncLike(Bytes& bytes, int objects);

// For arrays without handles of objects.
class NoObjects : public models::Objects {
  const vrArray* handle(int /*object*/) const override { return nullptr; }
  int numberOf(const vrArray* /*handle*/) const override { return 0; }
};

}  // namespace kvr::fuzz
