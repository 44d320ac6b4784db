// The motor on the drive's output. While it turns, the drive's measurements
// (speeds, position, currents, command input, Hall state) move on with
// every sample the host takes, so two reads of a live register differ.
// Sampling is tied to reads rather than to a clock, which keeps every test
// run the same.
#pragma once

#include <array>
#include <cstdint>

#include "fpga_space.h"

namespace svodb::sim {

class MotorMotion {
 public:
  MotorMotion() noexcept;

  // A read of the top byte of a measurement takes a new sample.
  bool IsSampledBy(uint8_t address) const noexcept;

  bool IsMoving() const noexcept { return moving_; }
  void Start() noexcept { moving_ = true; }
  // Speeds, currents and the command input drop to 0; the position stays.
  void Stop(FpgaSpace& space) noexcept;

  // One sample while moving; nothing while standing.
  void Advance(FpgaSpace& space) noexcept;

  // Power-up: standing, position 0.
  void Reset(FpgaSpace& space) noexcept;

 private:
  enum Channel : std::size_t { kVelocity, kVelFB, kPosFB, kCmdIn, kIFB, kIdFB, kHallInp, kChannelCount };

  void Store(FpgaSpace& space, Channel channel, int32_t raw) const noexcept;

  std::array<const RegisterDescriptor*, kChannelCount> rows_{};
  bool moving_ = false;
  uint32_t step_ = 0;
  uint32_t position_ = 0;
};

}  // namespace svodb::sim
