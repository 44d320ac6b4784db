// A name index built at compile time: the names of a constant table folded
// to lower case (A-Z only, as the drive's tools fold them), sorted, each with
// its row. Finding a name folds it once into a key of three 64-bit words
// and binary-searches the keys, so an unknown name is rejected as fast as a
// known one is found, and nothing is built when the library loads.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace svodb {

// Longer than any name of the catalogue or the register map, which the
// builders check.
inline constexpr std::size_t kNameKeySize = 24;
// The folded name's bytes, first byte most significant, zero-padded: keys
// order as the names do byte by byte.
using NameKey = std::array<uint64_t, kNameKeySize / 8>;

constexpr char FoldLetter(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// False for a name that no key can hold (it names nothing).
constexpr bool MakeNameKey(std::string_view name, NameKey& key) noexcept {
  if (name.size() >= kNameKeySize) return false;
  key = NameKey{};
  for (std::size_t i = 0; i < name.size(); ++i) {
    const auto byte = static_cast<uint64_t>(static_cast<unsigned char>(FoldLetter(name[i])));
    key[i / 8] |= byte << (56 - 8 * (i % 8));
  }
  return true;
}

template <std::size_t N>
struct NameIndex {
  std::array<NameKey, N> keys{};
  std::array<uint16_t, N> rows{};

  // The row of the name, or -1.
  int Find(std::string_view name) const noexcept {
    NameKey key;
    if (!MakeNameKey(name, key)) return -1;
    const auto found = std::lower_bound(keys.begin(), keys.end(), key);
    if (found == keys.end() || *found != key) return -1;
    return rows[static_cast<std::size_t>(found - keys.begin())];
  }

  // Whether two rows' names fold to the same key (the index would hide one).
  constexpr bool HasDuplicates() const noexcept {
    for (std::size_t i = 1; i < N; ++i) {
      if (keys[i - 1] == keys[i]) return true;
    }
    return false;
  }
};

// Indexes the first N rows of a table by row.name. Fails the build for a
// name too long for a key.
template <std::size_t N, typename Table>
consteval NameIndex<N> BuildNameIndex(const Table& table) {
  std::array<std::pair<NameKey, uint16_t>, N> entries{};
  for (std::size_t i = 0; i < N; ++i) {
    if (table[i].name == nullptr || !MakeNameKey(table[i].name, entries[i].first)) {
      throw "a name too long for the index";
    }
    entries[i].second = static_cast<uint16_t>(i);
  }
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  NameIndex<N> index;
  for (std::size_t i = 0; i < N; ++i) {
    index.keys[i] = entries[i].first;
    index.rows[i] = entries[i].second;
  }
  return index;
}

}  // namespace svodb
