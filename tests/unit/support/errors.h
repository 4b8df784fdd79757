#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace zorbec::unit {

// What the Error that `step` throws says. Fails the test if it throws none, or one of another kind.
template <typename Error, typename Step>
std::string error_of(Step step) {
  try {
    step();
  } catch (const Error& error) {
    return error.what();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "an error of another kind: " << error.what();
    return {};
  }
  ADD_FAILURE() << "no error";
  return {};
}

}  // namespace zorbec::unit
