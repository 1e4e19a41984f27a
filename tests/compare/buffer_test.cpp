// Memory for intermediate numbers, which a thread uses again.
#include "compare/buffer.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

#include "compare/numbers.h"

namespace kvr::compare {
namespace {

TEST(BufferTest, a_thread_gets_memory_again_that_it_gave_back) {
  const double* first = nullptr;
  {
    Buffer<double> buffer(kBlock);
    first = buffer.data();
  }
  const Buffer<double> again(kBlock);
  EXPECT_EQ(again.data(), first);
}

TEST(BufferTest, buffers_that_live_at_once_share_no_number) {
  for (const std::size_t size : {std::size_t{1}, kBlock, kBlock + 3, 5 * kBlock}) {
    std::vector<Buffer<double>> buffers;
    for (std::size_t i = 0; i < 100; ++i) {
      Buffer<double>& buffer = buffers.emplace_back(size);
      for (std::size_t k = 0; k < size; ++k) buffer[k] = static_cast<double>(i * size + k);
    }
    for (std::size_t i = 0; i < buffers.size(); ++i)
      for (std::size_t k = 0; k < size; ++k)
        ASSERT_EQ(buffers[i][k], static_cast<double>(i * size + k));
  }
}

TEST(BufferTest, a_buffer_may_end_in_another_thread) {
  Buffer<double> buffer(kBlock);
  std::thread([given = std::move(buffer)]() mutable { given[0] = 1.0; }).join();
  const Buffer<double> next(kBlock);
  EXPECT_NE(next.data(), nullptr);
}

TEST(BufferTest, a_buffer_of_no_numbers_has_no_memory) {
  EXPECT_EQ(Buffer<double>(0).data(), nullptr);
}

}  // namespace
}  // namespace kvr::compare
