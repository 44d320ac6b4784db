// Exports of the value enumerations, on the current node. Names are matched
// exactly, case and all.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "svodb/svodb.h"
#include "values/enumerations.h"

using svodb::LibraryContext;
using svodb::api::Context;
using svodb::api::CurrentNode;
using svodb::api::Guarded;

namespace {

static_assert(SVODB_LABEL_SIZE == svodb::kLabelSize &&
              SVODB_COMPOSED_LABEL_SIZE == svodb::kComposedLabelSize);

using LabelQuery = std::optional<std::string> (*)(LibraryContext&, std::string_view, int32_t, uint32_t);

// Copies the label within the bound the caller was promised for this name
// and node; the tables never come near it, the bound is kept regardless.
bool CopyLabel(LabelQuery query, const char* name, int32_t key, char* label) {
  if (name == nullptr || label == nullptr) return false;
  return svodb::api::OnContext(false, [&](LibraryContext& ctx) {
    const uint32_t node = CurrentNode();
    const std::optional<std::string> found = query(ctx, name, key, node);
    if (!found) return false;
    const bool composed = node == 0 && std::string_view(name) == "AuxFBMitFlt";
    const std::size_t room = (composed ? svodb::kComposedLabelSize : svodb::kLabelSize) - 1;
    svodb::api::CopyText(std::string_view(*found).substr(0, room), label);
    return true;
  });
}

}  // namespace

extern "C" {

SVODB_API bool SVODB_CALL GetValStr_SVODB(const char* name, int32_t value, char* label) {
  return CopyLabel(svodb::DisplayLabelByValue, name, value, label);
}

SVODB_API bool SVODB_CALL GetIdxStr_SVODB(const char* name, int32_t index, char* label) {
  return CopyLabel(svodb::DisplayLabelByIndex, name, index, label);
}

SVODB_API int32_t SVODB_CALL GetValIdx_SVODB(const char* name, int32_t value, int32_t* index) {
  if (name == nullptr || index == nullptr) return svodb::kNoEnumTable;
  return Guarded(svodb::kNoEnumTable, [&] {
    const int32_t found = svodb::ValueToIndex(Context(), name, value, CurrentNode());
    if (found >= 0) *index = found;
    return found;
  });
}

// A missing index answers positive 2, unlike the -2 of GetValIdx_SVODB:
// that is the answer callers were built against, though 2 is also a value.
SVODB_API int32_t SVODB_CALL GetIdxVal_SVODB(const char* name, int32_t index, int32_t* value) {
  constexpr int32_t kMissingIndex = 2;
  if (name == nullptr || value == nullptr) return svodb::kNoEnumTable;
  return Guarded(svodb::kNoEnumTable, [&] {
    const int32_t found = svodb::IndexToValue(Context(), name, index, CurrentNode());
    if (found == svodb::kNoEnumEntry) return kMissingIndex;
    if (found != svodb::kNoEnumTable) *value = found;
    return found;
  });
}

}  // extern "C"
