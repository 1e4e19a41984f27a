// What clean hands to the host when it ends the object it was called on. The host's own operation
// is replaced for the whole program, so that objects do not end here.
#include "tests/binding/repository_test.h"

namespace {

const void* handedOver = nullptr;
int timesEnded = 0;

}  // namespace

void ntob::TOBInterface::destroyInterface(void* context) {
  handedOver = context;
  ++timesEnded;
}

namespace kvr::test {
namespace {

class CleanContext : public RepositoryTest {};

TEST_F(CleanContext, ends_the_object_once_with_the_context_of_the_call) {
  int context = 0;
  std::int32_t outputCount = 0;
  ArgumentCell input = handle();
  const std::unique_ptr<SignalRepository> dropped(&store());
  repositoryMethod("clean").descriptor().execute(&context, &outputCount, nullptr, 1, &input);
  EXPECT_EQ(handedOver, &context);
  EXPECT_EQ(timesEnded, 1);
}

}  // namespace
}  // namespace kvr::test
