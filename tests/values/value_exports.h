// Tests of the value exports with a virtual drive on the serial port: the
// drive's configuration of each test, its call log, and the library's state
// behind the exports.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/export_fixture.h"
#include "api/global_state.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"

namespace svodb::testing {

using Lines = std::vector<std::string>;

class ValueExports : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    Connect();
  }
  // A new drive on the serial port, with an empty call log.
  virtual void Connect(sim::DriveConfig config = {}) {
    drive_ = std::make_unique<sim::VirtualDrive>(std::move(config));
    Use(*drive_);
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    drive_->Log().Clear();
  }
  Lines Traffic() const { return drive_->Log().Lines(); }
  // The traffic so far, and a fresh log.
  Lines Take() {
    Lines lines = Traffic();
    drive_->Log().Clear();
    return lines;
  }
  static ParameterDatabase& Db() { return api::Context().db; }
  static RegisterMap& Registers() { return api::Context().registers; }

  std::unique_ptr<sim::VirtualDrive> drive_;
};

}  // namespace svodb::testing
