#include "drive/register_map.h"

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace svodb {
namespace {

uint32_t FieldMask(uint32_t topBit, uint32_t width) { return ((1u << width) - 1) << (topBit - width + 1); }

TEST(RegisterTable, RowsAreUniqueAndLieInsideTheDriveStorage) {
  std::set<std::string> seen;
  for (const RegisterDescriptor& row : kRegisterTable) {
    SCOPED_TRACE(row.name);
    std::string folded(row.name);
    for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_TRUE(seen.insert(folded).second);
    EXPECT_TRUE(row.fpgaAddress >= -1 && row.fpgaAddress <= 143 && row.nvEntry >= -1 && row.nvEntry <= 255);
    EXPECT_TRUE(row.bitWidth >= 1 && row.bitWidth <= (row.byteCount == 1 ? row.topBit + 1 : 8u));
    EXPECT_TRUE(row.byteCount == 1 || row.topBit == 7);
  }
}

// Lookups ignore the case of letters only; a value is set when the range
// of the command units admits it and the node is one of the images.
TEST(RegisterMapStore, LookupAndSetCheckTheNameTheRangeThenTheNode) {
  RegisterMap map;
  EXPECT_EQ(map.FindRegister("BQ0B2"), &map.Registers()[16]);
  EXPECT_EQ(std::as_const(map).FindRegister("bQ0b2"), &map.Registers()[16]);
  EXPECT_NE(map.FindRegister("dinp1 (ENBHWINP)"), nullptr);
  for (const char* unknown : {"BQ0B", "BQ0B2 ", "", "NoSuchRegister"})
    EXPECT_EQ(map.FindRegister(unknown), nullptr);
  int32_t raw = 777;
  for (const auto& [name, node, expected] :
       {std::tuple{"NoSuchRegister", 0, code::kInvalidParameter}, std::tuple{"KVP", 7, code::kOutOfRange},
        std::tuple{"KVP", -1, code::kOutOfRange}})
    EXPECT_EQ(map.GetRawValue(name, node, raw), expected) << name << " " << node;
  EXPECT_EQ(raw, 777);
  // Logic version, name, raw, command units, node; the current limits'
  // ranges follow the layout of the logic version.
  // clang-format off
  const std::tuple<int32_t, const char*, int32_t, int32_t, int32_t, Result> cases[] = {
      {3, "NoSuchRegister", 0, 1, 7, code::kInvalidParameter},
      {3, "FBDivisor", 0, 1, 0, code::kOutOfRange},    {3, "fbdivisor", 0, 0, 0, code::kOutOfRange},
      {3, "FBDivisor", -5, 1, 0, code::kOk},           {3, "FBDivisor", INT32_MAX, 0, 3, code::kOk},
      {3, "EnDatPPR", 0, 1, 0, code::kOutOfRange},     {3, "EnDatPPR", INT32_MIN, 1, 0, code::kOutOfRange},
      {3, "Command", 20000, 2, 0, code::kOk},          {3, "Command", 20000, 0, 0, code::kOutOfRange},
      {3, "Command", -19336, 0, 0, code::kOk},         {3, "AuxFBHallFlt", 1, 0, 0, code::kOutOfRange},
      {3, "KVP", 200, 1, 6, code::kOk},                {3, "KVP", 200, 1, 7, code::kOutOfRange},
      {3, "KVP", 200, 1, -1, code::kOutOfRange},       {3, "HstSet", 1, 0, 2, code::kOutOfRange},
      {3, "ILmtMinus", 256, 1, 0, code::kOk},          {3, "ILmtMinus", 105, 0, 0, code::kOk},
      {3, "ILmtMinus", 104, 1, 0, code::kOutOfRange},  {3, "ILmtMinus", 0, 0, 0, code::kOutOfRange},
      {3, "ILmtMinus", 257, 0, 0, code::kOutOfRange},  {3, "ILmtPlus", 152, 0, 0, code::kOutOfRange},
      {2, "ILmtMinus", 3, 0, 0, code::kOk},            {2, "ILmtMinus", 4, 0, 0, code::kOutOfRange},
      {2, "ILmtMinus", 105, 1, 0, code::kOutOfRange}, {3, "ILmtPlus", 151, 0, 0, code::kOk},
  };
  // clang-format on
  for (const auto& [logic, name, value, units, askedNode, expected] : cases) {
    SCOPED_TRACE(std::string(name) + "=" + std::to_string(value) + " units " + std::to_string(units) +
                 " node " + std::to_string(askedNode));
    map.SetCurrentLimitLayout(logic);
    const int32_t node = (askedNode >= 0 && askedNode < kNodeCount) ? askedNode : 0;
    int32_t before = 0, after = 0;
    map.GetRawValue(name, node, before);
    EXPECT_EQ(map.SetRawValue(name, value, units, askedNode), expected);
    map.GetRawValue(name, node, after);
    EXPECT_EQ(after, expected == code::kOk ? value : before);
  }
  ASSERT_EQ(map.SetRawValue("Command", 123, 1, 0), code::kOk);
  const RawRange torque = map.GetTorqueRange("command");
  EXPECT_EQ(std::tuple(torque.found, torque.min, torque.max, torque.driveRaw),
            std::tuple(true, -19336, 19336, 123));
  EXPECT_EQ(std::tuple(map.GetVelocityRange("Command").max, map.GetVelocityRange("NoSuchRegister").found),
            std::tuple(32767, false));
}

const RegisterDescriptor& Row(const char* name) {
  static const RegisterMap map;
  return map.FindRegister(name)->descriptor;
}

// Encodes v over several shared bytes and decodes it back; the one-byte
// registers that share the field's (lower) byte without overlapping its
// bits must keep their values. Returns whether v came back.
bool RoundTrips(const RegisterMap& map, const RegisterDescriptor& d, int32_t v) {
  const bool oneByte = d.byteCount == 1;
  const uint32_t fieldMask = FieldMask(oneByte ? d.topBit : 7, d.bitWidth);
  bool back = true;
  for (uint8_t shared : {0x00, 0xFF, 0xA5, 0x5A}) {
    FieldBytes out;
    int32_t decoded = 0;
    EXPECT_EQ(EncodeField(d, v, shared, out), code::kOk);
    EXPECT_EQ(DecodeField(d, out.View(), decoded), code::kOk);
    back = back && decoded == v;
    const uint8_t written = out.View().back();
    for (const RegisterState& other : map.Registers()) {
      const RegisterDescriptor& n = other.descriptor;
      if (n.byteCount != 1 || n.fpgaAddress != (oneByte ? d.fpgaAddress : d.fpgaAddress - 1) ||
          (FieldMask(n.topBit, n.bitWidth) & fieldMask) != 0)
        continue;
      int32_t before = 0, after = 0;
      DecodeField(n, std::span(&shared, 1), before);
      DecodeField(n, std::span(&written, 1), after);
      EXPECT_EQ(after, before) << d.name << "=" << v << " disturbs " << n.name;
    }
  }
  return back;
}

// Every in-range candidate of every register with an FPGA address (VerLW
// has none: the drive reports it as text); the in-range values that did not
// come back.
std::set<std::string> Lost(RegisterMap& map) {
  std::set<std::string> lost;
  for (const RegisterState& state : map.Registers()) {
    const RegisterDescriptor& d = state.descriptor;
    if (FieldByteLength(d.byteCount) == 0 || d.fpgaAddress < 0) continue;
    std::vector<int32_t> values{0,   1,   -1,  5,   8,   15,   16,    31,     63,
                                100, 127, 128, 255, -88, -128, 32767, -32768, 65535};
    for (int32_t bound : {d.velocityMin, d.velocityMax, d.torqueMin, d.torqueMax}) {
      values.push_back(bound);
      if (bound != INT32_MIN) values.push_back(bound - 1);
      if (bound != INT32_MAX) values.push_back(bound + 1);
    }
    for (int32_t v : values) {
      const bool inRange =
          map.SetRawValue(d.name, v, 0, 1) == code::kOk || map.SetRawValue(d.name, v, 1, 1) == code::kOk;
      if (inRange && !RoundTrips(map, d, v)) lost.insert(std::string(d.name) + "=" + std::to_string(v));
    }
  }
  return lost;
}

TEST(FieldCodec, EncodedValuesDecodeBackInEveryLayout) {
  // The library only reads AuxFBComAng (2048 in a 12-bit field), EEData and
  // EnDatDistMT (0..65535 in signed 16-bit fields); ILmtMinus's bound 256 is
  // the one written value that its field cannot hold.
  const std::set<std::string> readOnly{"AuxFBComAng=2048", "EEData=65534", "EEData=65535",
                                       "EnDatDistMT=65534", "EnDatDistMT=65535"};
  std::set<std::string> withLimit = readOnly;
  withLimit.insert("ILmtMinus=256");
  RegisterMap map;
  EXPECT_EQ(Lost(map), withLimit);
  map.SetCurrentLimitLayout(2);
  map.SetDeadBandLayout(2);
  EXPECT_EQ(Lost(map), readOnly);
  // The signed one-byte codecs 60-89 no row uses, over their whole field.
  for (const auto& [codec, topBit, width] :
       {std::tuple{85u, 4u, 5u}, std::tuple{75u, 5u, 6u}, std::tuple{65u, 6u, 7u}}) {
    RegisterDescriptor d = Row("KVP");
    d.codec = static_cast<int32_t>(codec);
    d.topBit = topBit;
    d.bitWidth = width;
    for (int32_t v = -(1 << (width - 1)); v < (1 << (width - 1)); ++v) {
      FieldBytes out;
      int32_t back = 0;
      EncodeField(d, v, 0xFF, out);
      DecodeField(d, out.View(), back);
      // The value comes back, and the bits above the field are kept.
      EXPECT_EQ(std::tuple(back, out.bytes[0] | FieldMask(topBit, width)), std::tuple(v, 0xFFu)) << codec;
    }
  }
  // Byte counts without a generic transfer, and a wrong length, are refused.
  const uint8_t bytes[24] = {};
  int32_t raw = 5;
  FieldBytes out;
  EXPECT_EQ(DecodeField(Row("SerialNum"), std::span(bytes, 24), raw), code::kSystemError);
  EXPECT_EQ(EncodeField(Row("SerialNum"), 0, 0, out), code::kSystemError);
  EXPECT_EQ(DecodeField(Row("KVP"), std::span(bytes, 2), raw), code::kSystemError);
  EXPECT_EQ(raw, 5);
}

}  // namespace
}  // namespace svodb
