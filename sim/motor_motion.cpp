#include "motor_motion.h"

namespace svodb::sim {

namespace {

constexpr std::array<const char*, 7> kChannelNames{"Velocity", "VelFB", "PosFB",  "CmdIn",
                                                   "IFB",      "IdFB",  "HallInp"};

// Small ripples whose neighbouring values always differ, so every sample
// changes every measurement.
constexpr std::array<int32_t, 4> kRipple4{0, 7, -5, 3};
constexpr std::array<int32_t, 3> kRipple3{0, 2, -3};
constexpr std::array<int32_t, 6> kHallSequence{1, 3, 2, 6, 4, 5};

// The ripples are scaled so that even the top byte of each measurement,
// the one whose read takes the sample, changes from sample to sample.
constexpr int32_t kSpeed = 3580;  // about 2000 RPM
constexpr int32_t kSpeedRipple = 64;
constexpr int32_t kCountsPerSample = 70000;
constexpr int32_t kCommandInput = 5000;
constexpr int32_t kCommandRipple = 256;
constexpr int32_t kCurrent = 300;
constexpr int32_t kCurrentRipple = 20;
constexpr int32_t kFluxCurrentRipple = 16;
constexpr uint32_t kPositionMask = 0xFFFFFF;  // PosFB has 24 bits

template <std::size_t N>
int32_t Ripple(const std::array<int32_t, N>& ripple, uint32_t step) noexcept {
  return ripple[step % N];
}

}  // namespace

MotorMotion::MotorMotion() noexcept {
  for (std::size_t i = 0; i < kChannelCount; ++i) rows_[i] = FindTableRow(kChannelNames[i]);
}

bool MotorMotion::IsSampledBy(uint8_t address) const noexcept {
  for (const RegisterDescriptor* row : rows_) {
    if (row != nullptr && row->fpgaAddress == address) return true;
  }
  return false;
}

void MotorMotion::Store(FpgaSpace& space, Channel channel, int32_t raw) const noexcept {
  if (rows_[channel] != nullptr) space.SetField(*rows_[channel], raw);
}

void MotorMotion::Advance(FpgaSpace& space) noexcept {
  if (!moving_) return;
  ++step_;
  position_ = (position_ + static_cast<uint32_t>(kCountsPerSample + Ripple(kRipple4, step_))) & kPositionMask;
  Store(space, kVelocity, kSpeed + kSpeedRipple * Ripple(kRipple4, step_));
  Store(space, kVelFB, kSpeed + kSpeedRipple * Ripple(kRipple4, step_ + 1));
  Store(space, kPosFB, static_cast<int32_t>(position_));
  Store(space, kCmdIn, kCommandInput + kCommandRipple * Ripple(kRipple3, step_));
  Store(space, kIFB, kCurrent + kCurrentRipple * Ripple(kRipple4, step_ + 2));
  Store(space, kIdFB, kFluxCurrentRipple * Ripple(kRipple3, step_ + 1));
  Store(space, kHallInp, Ripple(kHallSequence, step_));
}

void MotorMotion::Stop(FpgaSpace& space) noexcept {
  moving_ = false;
  for (Channel channel : {kVelocity, kVelFB, kCmdIn, kIFB, kIdFB}) Store(space, channel, 0);
}

void MotorMotion::Reset(FpgaSpace& space) noexcept {
  step_ = 0;
  position_ = 0;
  Stop(space);
  Store(space, kPosFB, 0);
  Store(space, kHallInp, Ripple(kHallSequence, step_));
}

}  // namespace svodb::sim
