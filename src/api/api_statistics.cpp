// Exports of the drive's fault history and of sampled statistics of a live
// variable.
#include <algorithm>
#include <optional>
#include <string>

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "svodb/svodb.h"
#include "values/statistics.h"

using svodb::LibraryContext;
using svodb::SampleStatistics;
namespace code = svodb::code;

extern "C" {

SVODB_API int32_t SVODB_CALL GetFaultHistory_SVODB(int32_t record, int32_t byte, uint8_t* value) {
  if (value == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    *value = svodb::ReadFaultHistoryByte(ctx, record, byte);
    return code::kOk;
  });
}

SVODB_API int32_t SVODB_CALL GetParmMeanRMS_SVODB(const char* name, int32_t count, double* mean,
                                                  double* spread, char* unitText) {
  if (name == nullptr || mean == nullptr || spread == nullptr || unitText == nullptr) {
    return code::kInvalidParameter;
  }
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    SampleStatistics statistics;
    std::optional<std::string> unit;
    const svodb::Result result = svodb::SampleVariableWithUnit(ctx, name, count, statistics, unit);
    if (result != code::kOk) return result;
    *mean = statistics.mean;
    *spread = statistics.spread;
    // As for the property query: without the drive's CmdSrc there is no
    // unit column, and the numbers already written stand.
    if (!unit) return code::kSystemError;
    unit->resize(std::min<std::size_t>(unit->size(), SVODB_UNIT_SIZE - 1));
    svodb::api::CopyText(*unit, unitText);
    return result;
  });
}

SVODB_API int32_t SVODB_CALL GetParmMeanRMS_SVODBT(const char* name, int32_t count, double* mean,
                                                   double* spread) {
  if (name == nullptr || mean == nullptr || spread == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    SampleStatistics statistics;
    const svodb::Result result =
        svodb::SampleVariable(ctx, name, count, svodb::kShortStatisticsDigits, statistics);
    if (result != code::kOk) return result;
    *mean = statistics.mean;
    *spread = statistics.spread;
    return result;
  });
}

}  // extern "C"
