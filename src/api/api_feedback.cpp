// Exports of the motor's feedback device: its generation, the memory of a
// generation-2 device, the motor data block and the generation-1 writes.
#include <span>
#include <string>

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "feedback/device_memory.h"
#include "feedback/gen1_writes.h"
#include "feedback/motor_data_block.h"
#include "svodb/svodb.h"

using svodb::FeedbackContext;
using svodb::LibraryContext;
using svodb::Result;
using svodb::api::Feedback;
namespace code = svodb::code;

namespace {

svodb::MdbValues Block(const uint32_t* block) { return svodb::MdbValues(block, svodb::kMdbSize); }

// Runs body with the feedback context; no exception leaves.
template <typename Body>
Result WithFeedback(Body&& body) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    FeedbackContext fc = Feedback(ctx);
    return body(fc);
  });
}

void HandOut(const svodb::MdbMismatch& mismatch, uint32_t* retries, uint32_t* index, uint32_t* valueRead,
             uint32_t* valueExpected) {
  *retries = mismatch.retries;
  *index = mismatch.index;
  *valueRead = mismatch.valueRead;
  *valueExpected = mismatch.valueExpected;
}

}  // namespace

extern "C" {

// ---- device memory and checksum ----

SVODB_API int32_t SVODB_CALL Check_gen_of_TRX(uint32_t* generation, uint32_t* linkSpeed,
                                              uint32_t* supported) {
  if (generation == nullptr || linkSpeed == nullptr || supported == nullptr) return code::kInvalidParameter;
  return WithFeedback(
      [&](FeedbackContext& fc) { return svodb::CheckGenOfTrx(fc.lib, *generation, *linkSpeed, *supported); });
}

SVODB_API int32_t SVODB_CALL Read_TRX_2_Memory(uint32_t* memory) {
  if (memory == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    return svodb::ReadTrx2Memory(fc.lib, fc.state.image,
                                 std::span<uint32_t, svodb::kTrx2ImageSize>(memory, svodb::kTrx2ImageSize));
  });
}

SVODB_API int32_t SVODB_CALL Correct_chs(uint32_t /*unused*/) {
  return WithFeedback(
      [&](FeedbackContext& fc) { return svodb::CorrectTrx2Checksum(fc.lib, fc.state.image); });
}

SVODB_API int32_t SVODB_CALL Write_Verify_TRX_2_MDB(const uint32_t* block, const uint8_t* a,
                                                    const uint8_t* b) {
  if (block == nullptr || a == nullptr || b == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    return svodb::WriteVerifyTrx2Mdb(fc.lib, fc.state.image, Block(block), *a, *b);
  });
}

SVODB_API int32_t SVODB_CALL check_check_sum_all(void) {
  return WithFeedback([&](FeedbackContext& fc) { return svodb::Trx2ChecksumValid(fc.state.image) ? 1 : 0; });
}

SVODB_API int32_t SVODB_CALL compute_check_sum_all(void) {
  return WithFeedback([&](FeedbackContext& fc) {
    svodb::ComputeTrx2Checksum(fc.state.image);
    return code::kOk;
  });
}

// ---- motor data block ----

SVODB_API int32_t SVODB_CALL LoadShowData_TRXMDB(void) {
  return WithFeedback([&](FeedbackContext& fc) { return svodb::LoadShowData(fc.lib, fc.mdbFields); });
}

SVODB_API int32_t SVODB_CALL GetMotorData_TRXMDB(const char* name, char* text) {
  if (name == nullptr || text == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    std::string value;
    const Result result = svodb::GetMotorData(fc.mdbFields, name, value);
    if (result == code::kOk) svodb::api::CopyText(value.substr(0, svodb::kMdbFieldTextCapacity - 1), text);
    return result;
  });
}

SVODB_API int32_t SVODB_CALL GetDataUnit_TRXMDB(const char* name, char* unit) {
  if (name == nullptr || unit == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    std::string value;
    const Result result = svodb::GetDataUnit(fc.mdbFields, name, value);
    if (result == code::kOk) svodb::api::CopyText(value.substr(0, svodb::kMdbUnitCapacity - 1), unit);
    return result;
  });
}

SVODB_API int32_t SVODB_CALL Read_TRXMDB(uint32_t* block) {
  if (block == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    return svodb::ReadTrxMdb(fc.lib, std::span<uint32_t, svodb::kMdbSize>(block, svodb::kMdbSize));
  });
}

SVODB_API int32_t SVODB_CALL Check_TRXMDB(const uint32_t* block, uint32_t* retries, uint32_t* index,
                                          uint32_t* valueRead, uint32_t* valueExpected) {
  if (block == nullptr || retries == nullptr || index == nullptr || valueRead == nullptr ||
      valueExpected == nullptr)
    return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    svodb::MdbMismatch mismatch;
    const Result result = svodb::CheckTrxMdb(fc.lib, Block(block), mismatch);
    HandOut(mismatch, retries, index, valueRead, valueExpected);
    return result;
  });
}

SVODB_API int32_t SVODB_CALL Read_TRXFPGA(uint32_t* bytes) {
  if (bytes == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    std::array<uint32_t, 3> read{};
    const Result result = svodb::ReadTrxFpga(fc.lib, read);
    if (result == code::kOk) std::copy(read.begin(), read.end(), bytes);
    return result;
  });
}

// ---- generation-1 writes ----

SVODB_API int32_t SVODB_CALL Write_Verify_TRXMDB(const uint32_t* block, uint32_t* retries,
                                                 uint32_t* wordIndex, uint32_t* valueRead,
                                                 uint32_t* valueExpected) {
  if (block == nullptr || retries == nullptr || wordIndex == nullptr || valueRead == nullptr ||
      valueExpected == nullptr)
    return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) {
    svodb::MdbMismatch mismatch;
    const Result result = svodb::WriteVerifyTrxMdb(fc, Block(block), mismatch);
    HandOut(mismatch, retries, wordIndex, valueRead, valueExpected);
    return result;
  });
}

SVODB_API int32_t SVODB_CALL Write_TRXMDB(const uint32_t* block) {
  if (block == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) { return svodb::WriteTrxMdb(fc, Block(block)); });
}

SVODB_API int32_t SVODB_CALL Write_TRX(const char* name, double value) {
  if (name == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) { return svodb::WriteTrx(fc, name, value); });
}

SVODB_API int32_t SVODB_CALL Read_TRX(const char* name, double* value) {
  if (name == nullptr || value == nullptr) return code::kInvalidParameter;
  return WithFeedback([&](FeedbackContext& fc) { return svodb::ReadTrx(fc, name, *value); });
}

SVODB_API int32_t SVODB_CALL Write_Verify_TRXMDB_v2(const uint32_t* block, const uint32_t* a,
                                                    const uint32_t* b) {
  if (block == nullptr || a == nullptr || b == nullptr) return code::kInvalidParameter;
  return WithFeedback(
      [&](FeedbackContext& fc) { return svodb::WriteVerifyTrxMdbV2(fc, Block(block), *a, *b); });
}

}  // extern "C"
