#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

namespace zorbec::unit {

// Calls step(0), step(1), ... `count` of them, each in a thread of its own, and waits for all. What
// a step throws fails the test.
template <typename Step>
void in_threads(std::size_t count, Step step) {
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (std::size_t number = 0; number < count; ++number) {
    threads.emplace_back([&step, number] {
      try {
        step(number);
      } catch (const std::exception& error) {
        ADD_FAILURE() << "thread " << number << ": " << error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace zorbec::unit
