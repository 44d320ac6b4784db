// A constant table of named fields, closed by a row without a name, and the
// list object that finds rows by name without regard to case. The motor
// data block and the device parameters both use it.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace svodb {

// Folds only the letters A-Z, as the drive's tools do.
constexpr char FoldFieldCase(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// <0, 0 or >0 as a is before, equal to or after b, ignoring case.
constexpr int CompareFieldNames(std::string_view a, std::string_view b) noexcept {
  const std::size_t common = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < common; ++i) {
    const auto x = static_cast<unsigned char>(FoldFieldCase(a[i]));
    const auto y = static_cast<unsigned char>(FoldFieldCase(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

template <typename Row>
constexpr std::size_t NamedRowCount(std::span<const Row> table) noexcept {
  std::size_t count = 0;
  while (count < table.size() && table[count].name != nullptr && table[count].name[0] != '\0') ++count;
  return count;
}

// Every named row strictly before the next, ignoring case (so names are also
// unique), and the table closed by a row without a name.
template <typename Row>
constexpr bool IsFieldTableWellFormed(std::span<const Row> table) noexcept {
  const std::size_t count = NamedRowCount(table);
  if (count + 1 != table.size()) return false;
  for (std::size_t i = 0; i + 1 < count; ++i) {
    if (CompareFieldNames(table[i].name, table[i + 1].name) >= 0) return false;
  }
  return true;
}

template <typename Row>
class FieldList {
 public:
  constexpr explicit FieldList(std::span<const Row> table) noexcept
      : table_(table), count_(NamedRowCount(table)) {}

  // The row of that name, or nullptr. A table found out of order fails every
  // lookup rather than give wrong answers from a binary search; once found
  // in order it is not checked again.
  const Row* Find(std::string_view name) noexcept {
    if (orderUnchecked_) {
      for (std::size_t i = 0; i + 1 < count_; ++i) {
        if (CompareFieldNames(table_[i].name, table_[i + 1].name) >= 0) return nullptr;
      }
      orderUnchecked_ = false;
    }
    std::ptrdiff_t low = 0;
    std::ptrdiff_t high = static_cast<std::ptrdiff_t>(count_) - 1;
    while (low <= high) {
      const std::ptrdiff_t mid = (low + high) / 2;
      const Row& row = table_[static_cast<std::size_t>(mid)];
      const int order = CompareFieldNames(name, row.name);
      if (order == 0) return &row;
      if (order < 0) {
        high = mid - 1;
      } else {
        low = mid + 1;
      }
    }
    return nullptr;
  }

  std::size_t Count() const noexcept { return count_; }
  std::span<const Row> Rows() const noexcept { return table_.first(count_); }
  bool OrderUnchecked() const noexcept { return orderUnchecked_; }

 private:
  std::span<const Row> table_;
  std::size_t count_;
  bool orderUnchecked_ = true;
};

}  // namespace svodb
