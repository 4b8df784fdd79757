#include "lab/expected_keys.h"

#include <gtest/gtest.h>

namespace zorbec::lab {
namespace {

constexpr std::uint32_t kPort = 0x03000148;
constexpr std::uint32_t kBundle = 0x3c000008;
constexpr std::uint32_t kSubif = 0x3c000018;

Interface interface(InterfaceClass interface_class, std::uint32_t handle, bool is_l2) {
  Interface made{interface_class, handle, "any"};
  made.rif = 5;
  made.lif = 9;
  made.ssp = 3;
  made.slot = 66;
  made.is_l2 = is_l2;
  made.erif = 0x70;
  made.drif = 0x12345;
  return made;
}

struct ListCase {
  const char* name;
  InterfaceClass interface_class;
  bool is_l2;
  int model;
  std::vector<std::uint64_t> keys;  // after the handle
};

void PrintTo(const ListCase& row, std::ostream* stream) {
  *stream << row.name;
}

class KeyList : public ::testing::TestWithParam<ListCase> {};

TEST_P(KeyList, holds_the_keys_of_its_class) {
  const ListCase& row = GetParam();
  const NodeKeys node =
      expected_keys({interface(row.interface_class, kPort, row.is_l2)}, 65, {row.model, 256});
  std::vector<std::uint64_t> keys;
  for (const ExpectedKey& entry : node.listed) {
    EXPECT_EQ(entry.handle, kPort);
    EXPECT_EQ(entry.interface_class, row.interface_class);
    keys.push_back(entry.key);
  }
  std::vector<std::uint64_t> wanted = {kPort};
  wanted.insert(wanted.end(), row.keys.begin(), row.keys.end());
  EXPECT_EQ(keys, wanted);
  EXPECT_TRUE(node.member_handles.empty());
}

const ListCase kLists[] = {
    {"port_l3", InterfaceClass::kPhysical, false, 1, {5, 0x40010009, 0x30000}},
    {"port_l3_one_port_model", InterfaceClass::kPhysical, false, 8, {5, 0x40000009, 0x30000}},
    {"port_l2", InterfaceClass::kPhysical, true, 1, {0x40030000, 0x40010009, 0x30000}},
    {"subif_l3", InterfaceClass::kPhysicalSubif, false, 3, {5, 0x40010009}},
    {"subif_l2", InterfaceClass::kPhysicalSubif, true, 3, {0x40010009}},
    {"bundle_l3", InterfaceClass::kBundle, false, 1, {5}},
    {"bundle_l2", InterfaceClass::kBundle, true, 1, {0x40000009}},
    {"bundle_subif_l3", InterfaceClass::kBundleSubif, false, 1, {5}},
    {"bundle_subif_l2", InterfaceClass::kBundleSubif, true, 1, {0x40000009}},
    {"bvi_on_its_own_slot", InterfaceClass::kBvi, false, 6, {0x40020009, 5}},
    {"bvi_one_port_model", InterfaceClass::kBvi, false, 2, {0x40000009, 5}},
    {"gre_bare_ids", InterfaceClass::kGre, false, 1, {0x70, 0x12345}},
};

INSTANTIATE_TEST_SUITE_P(All, KeyList, ::testing::ValuesIn(kLists),
                         [](const auto& row) { return row.param.name; });

TEST(KeyListOfWideIds, is_cut_to_16_bits) {
  Interface bundle = interface(InterfaceClass::kBundle, kBundle, false);
  bundle.rif = 0x10007;
  EXPECT_EQ(expected_keys({bundle}, 0, {1, 256}).listed.back().key, 7U);
}

struct MemberCase {
  const char* name;
  int model;
  int bundle_scale;
  bool bundle_is_l2;
  std::vector<std::uint64_t> bundle_keys;  // after the bundle's handle and own key
};

void PrintTo(const MemberCase& row, std::ostream* stream) {
  *stream << row.name;
}

class MemberKeys : public ::testing::TestWithParam<MemberCase> {};

TEST_P(MemberKeys, go_to_the_bundle_and_its_sub_interfaces) {
  const MemberCase& row = GetParam();
  Interface member = interface(InterfaceClass::kPhysical, kPort, false);
  member.is_member = true;
  member.bundle = kBundle;
  member.memid = 2;
  member.lagid = 17;
  Interface bundle = interface(InterfaceClass::kBundle, kBundle, row.bundle_is_l2);
  bundle.rif = 0x20;
  bundle.lif = 0x21;
  Interface subif = interface(InterfaceClass::kBundleSubif, kSubif, true);
  subif.lif = 0x31;
  subif.parent = kBundle;

  const NodeKeys node = expected_keys({member, bundle, subif}, 1, {row.model, row.bundle_scale});
  EXPECT_EQ(node.member_handles, std::vector<std::uint32_t>{kPort});
  std::vector<std::uint64_t> bundle_keys;
  std::vector<std::uint64_t> subif_keys;
  for (const ExpectedKey& entry : node.listed) {
    ASSERT_NE(entry.handle, kPort);
    (entry.handle == kBundle ? bundle_keys : subif_keys).push_back(entry.key);
  }
  std::vector<std::uint64_t> wanted = row.bundle_keys;
  wanted.push_back(kBundle);
  wanted.push_back(row.bundle_is_l2 ? 0x40000021 : 0x20);
  EXPECT_EQ(bundle_keys, wanted);
  EXPECT_EQ(subif_keys, (std::vector<std::uint64_t>{0x40000031, kSubif, 0x40000031}));
}

const MemberCase kMembers[] = {
    {"scale_256", 1, 256, false, {5, 0x40010009, 0x30000, 0x82110000}},
    {"scale_512", 1, 512, false, {5, 0x40010009, 0x30000, 0x84110000}},
    {"scale_1024", 1, 1024, false, {5, 0x40010009, 0x30000, 0x88110000}},
    {"scale_2048", 1, 2048, false, {5, 0x40010009, 0x30000, 0x880110000}},
    {"model_9_has_one_scale", 9, 1024, false, {5, 0x40000009, 0x30000, 0x82110000}},
    {"bundle_l2", 1, 256, true, {5, 0x40010009, 0x30000, 0x82110000, 0x40000021}},
};

INSTANTIATE_TEST_SUITE_P(All, MemberKeys, ::testing::ValuesIn(kMembers),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace zorbec::lab
