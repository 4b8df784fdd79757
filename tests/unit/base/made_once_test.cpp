#include "base/made_once.h"

#include <gmock/gmock.h>

#include <latch>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using ::testing::Each;

TEST(MadeOnce, is_made_once_for_all_who_need_it) {
  MadeOnce<int> number;
  std::atomic<int> made = 0;
  std::vector<std::shared_ptr<const int>> seen(8);
  unit::in_threads(seen.size(),
                   [&](std::size_t worker) { seen[worker] = number.get([&] { return ++made; }); });
  EXPECT_EQ(*seen.front(), 1);
  EXPECT_THAT(seen, Each(seen.front()));
}

TEST(MadeOnce, made_ahead_is_the_one_that_is_asked_for) {
  MadeOnce<int> number;
  number.make_ahead([] { return 1; });
  number.make_ahead([] { return 2; });
  EXPECT_EQ(*number.get([] { return 3; }), 1);
}

TEST(MadeOnce, nobody_waits_for_another_to_make_it_ahead) {
  MadeOnce<int> number;
  std::latch is_making(1);
  std::latch others_went_on(1);
  std::thread maker([&] {
    number.make_ahead([&] {
      is_making.count_down();
      others_went_on.wait();
      return 1;
    });
  });
  is_making.wait();
  number.make_ahead([] { return 2; });
  others_went_on.count_down();
  EXPECT_EQ(*number.get([] { return 3; }), 1);  // who needs it waits
  maker.join();
}

TEST(MadeOnce, failure_is_thrown_once_where_it_is_needed_and_the_next_tries_again) {
  MadeOnce<int> number;
  EXPECT_THROW(number.get([]() -> int { throw std::bad_alloc(); }), std::bad_alloc);
  number.make_ahead([]() -> int { throw std::bad_alloc(); });
  number.make_ahead([] { return 2; });
  EXPECT_THROW(number.get([] { return 3; }), std::bad_alloc);
  EXPECT_EQ(*number.get([] { return 4; }), 4);
}

}  // namespace
}  // namespace zorbec
