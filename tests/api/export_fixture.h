// Tests of the exported C interface start from the state at load, with a
// transport of their choosing behind the exports.
#pragma once

#include <gtest/gtest.h>

#include "api/global_state.h"
#include "drive/transport.h"

namespace svodb::testing {

class ExportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    api::ResetForTesting();
    api::UseTransportForTesting(&none_);
  }
  void TearDown() override {
    api::UseTransportForTesting(nullptr);
    api::ResetForTesting();
  }
  void Use(Transport& transport) { api::UseTransportForTesting(&transport); }

 private:
  NoTransport none_;
};

}  // namespace svodb::testing
