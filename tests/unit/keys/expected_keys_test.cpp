#include "keys/expected_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/log_stream.h"
#include "context/run_state.h"
#include "platform/platform_probes.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/records.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Keys = std::vector<std::string>;

constexpr int kUnknownModel = 1;
constexpr const char* kLog = "/tmp/last_log.txt";

// Interface 123 (0x7b) of node 2, whose own port is 2 unless the router has a port for all slots.
class ExpectedKeys : public RunStateTest {
 protected:
  ExpectedKeys() { run_state().router = kUnknownModel; }

  InterfaceRecord load(const Fields& changes) {
    tables_.set("2", interface_table(dump_of({{"123", record_with(changes)}})));
    return record_of(tables_, "2", "123");
  }

 private:
  InterfaceTables tables_;
};

// ---- One record on its own

struct RecordCase : Row {
  const char* intftype;
  Fields changes;
  Keys keys;
  int router = kUnknownModel;
};

const RecordCase kRecordCases[] = {
    {{"physical_layer_3"}, "physical", {}, {"0x7b", "0x5", "0x40020009", "0x30000"}},
    {{"physical_layer_2"},
     "physical",
     {{"is_l2", "1"}},
     {"0x7b", "0x30000", "0x40020009", "0x40030000"}},
    {{"physical_on_a_kvr_330_has_port_0"},
     "physical",
     {},
     {"0x7b", "0x5", "0x40000009", "0x30000"},
     kModelKvr330},
    {{"physical_on_a_ddc_has_port_0"},
     "physical",
     {},
     {"0x7b", "0x5", "0x40000009", "0x30000"},
     kModelDdc},
    {{"physical_on_a_k310x_has_port_0"},
     "physical",
     {},
     {"0x7b", "0x5", "0x40000009", "0x30000"},
     kModelK310x},
    {{"physical_subif_layer_3"}, "physical-subif", {}, {"0x7b", "0x5", "0x40020009"}},
    {{"physical_subif_layer_2"}, "physical-subif", {{"is_l2", "1"}}, {"0x7b", "0x40020009"}},
    {{"physical_subif_uses_no_value_of_parent_ifh"},
     "physical-subif",
     {{"parent_ifh", "null"}},
     {"0x7b", "0x5", "0x40020009"}},
    {{"bundle_layer_3"}, "bundle", {}, {"0x7b", "0x5"}},
    {{"bundle_layer_2"}, "bundle", {{"is_l2", "1"}}, {"0x7b", "0x40000009"}},
    {{"bundle_subif_layer_3"}, "bundle-subif", {}, {"0x7b", "0x5"}},
    {{"bundle_subif_layer_2"}, "bundle-subif", {{"is_l2", "1"}}, {"0x7b", "0x40000009"}},
    {{"is_l2_of_2_makes_a_bundle_layer_3"}, "bundle", {{"is_l2", "2"}}, {"0x7b", "0x5"}},
    {{"is_l2_of_2_makes_a_bundle_subif_layer_2"},
     "bundle-subif",
     {{"is_l2", "2"}},
     {"0x7b", "0x40000009"}},
    {{"bvi"}, "bvi", {}, {"0x7b", "0x40020009", "0x5"}},
    {{"bvi_has_the_same_keys_in_layer_2"}, "bvi", {{"is_l2", "1"}}, {"0x7b", "0x40020009", "0x5"}},
    {{"bvi_needs_no_is_l2"}, "bvi", {{"is_l2", kMissing}}, {"0x7b", "0x40020009", "0x5"}},
    {{"bvi_takes_its_own_slot"}, "bvi", {{"slot", "4"}}, {"0x7b", "0x40040009", "0x5"}},
    {{"bvi_slot_as_text"}, "bvi", {{"slot", "\"4\""}}, {"0x7b", "0x40040009", "0x5"}},
    {{"bvi_slot_counts_modulo_64"}, "bvi", {{"slot", "66"}}, {"0x7b", "0x40020009", "0x5"}},
    {{"bvi_on_a_kvr_330_has_port_0"},
     "bvi",
     {{"slot", "4"}},
     {"0x7b", "0x40000009", "0x5"},
     kModelKvr330},
    {{"bvi_on_a_kvr_330_needs_no_number_for_a_slot"},
     "bvi",
     {{"slot", "\"none\""}},
     {"0x7b", "0x40000009", "0x5"},
     kModelKvr330},
    {{"gre_takes_erif_and_drif_unpacked"}, "gre", {}, {"0x7b", "0x10005", "0x20006"}},
    {{"gre_without_rif_and_lif"},
     "gre",
     {{"rif", kMissing}, {"lif", kMissing}, {"ssp", kMissing}, {"slot", kMissing}},
     {"0x7b", "0x10005", "0x20006"}},
    {{"gre_drops_fractions"}, "gre", {{"erif", "5.9"}, {"drif", "-5.9"}}, {"0x7b", "0x5", "-0x5"}},
    {{"gre_truth_values"}, "gre", {{"erif", "true"}, {"drif", "false"}}, {"0x7b", "0x1", "0x0"}},
    {{"gre_beyond_64_bits"},
     "gre",
     {{"erif", "18446744073709551616"}, {"drif", "\"18446744073709551615\""}},
     {"0x7b", "0x10000000000000000", "0xffffffffffffffff"}},
    {{"rif_beyond_16_bits_is_masked"}, "bundle", {{"rif", "65541"}}, {"0x7b", "0x5"}},
    {{"rif_beyond_64_bits_is_masked"},
     "bundle",
     {{"rif", "18446744073709551621"}},
     {"0x7b", "0x5"}},
    {{"rif_minus_1_is_masked"}, "bundle", {{"rif", "-1"}}, {"0x7b", "0xffff"}},
    {{"rif_true_is_1"}, "bundle", {{"rif", "true"}}, {"0x7b", "0x1"}},
    {{"rif_false_is_0"}, "bundle", {{"rif", "false"}}, {"0x7b", "0x0"}},
    {{"lif_true_is_1"}, "bundle", {{"is_l2", "1"}, {"lif", "true"}}, {"0x7b", "0x40000001"}},
    {{"lif_of_a_layer_3_bundle_may_be_anything"}, "bundle", {{"lif", "\"x\""}}, {"0x7b", "0x5"}},
    {{"rif_of_a_layer_2_bundle_may_be_anything"},
     "bundle",
     {{"is_l2", "1"}, {"rif", "null"}},
     {"0x7b", "0x40000009"}},
    {{"ssp_of_a_bundle_may_be_anything"},
     "bundle",
     {{"ssp", "[]"}, {"slot", "{}"}},
     {"0x7b", "0x5"}},
    {{"ssp_as_text"}, "physical", {{"ssp", "\"3\""}}, {"0x7b", "0x5", "0x40020009", "0x30000"}},
    {{"ssp_with_a_fraction"},
     "physical",
     {{"ssp", "3.9"}},
     {"0x7b", "0x5", "0x40020009", "0x30000"}},
    {{"ssp_true"}, "physical", {{"ssp", "true"}}, {"0x7b", "0x5", "0x40020009", "0x10000"}},
    {{"ssp_beyond_14_bits_is_not_masked"},
     "physical",
     {{"ssp", "81920"}},
     {"0x7b", "0x5", "0x40020009", "0x140000000"}},
    {{"ssp_beyond_64_bits"},
     "physical",
     {{"ssp", "18446744073709551616"}},
     {"0x7b", "0x5", "0x40020009", "0x100000000000000000000"}},
};

class RecordKeys : public ExpectedKeys, public ::testing::WithParamInterface<RecordCase> {};

TEST_P(RecordKeys, are_stored_handle_first) {
  run_state().router = GetParam().router;
  const InterfaceRecord record = load(GetParam().changes);
  construct_key_db(record, GetParam().intftype, "123", "2");
  EXPECT_EQ(keys_of(record), GetParam().keys);
}

INSTANTIATE_TEST_SUITE_P(Records, RecordKeys, ::testing::ValuesIn(kRecordCases),
                         row_name<RecordCase>);

// Which values of a flag mean layer 2, or a bundle member. A bundle asks for equality with 1, the
// other classes ask for equality with 0.
struct FlagCase : Row {
  const char* value;
  bool equals_1;
  bool equals_0;
};

const FlagCase kFlagCases[] = {
    {{"number_0"}, "0", false, true},
    {{"number_1"}, "1", true, false},
    {{"number_2"}, "2", false, false},
    {{"number_minus_1"}, "-1", false, false},
    {{"number_beyond_64_bits"}, "18446744073709551617", false, false},
    {{"text_0"}, "\"0\"", false, false},
    {{"text_1"}, "\"1\"", false, false},
    {{"empty_text"}, "\"\"", false, false},
    {{"true_value"}, "true", true, false},
    {{"false_value"}, "false", false, true},
    {{"real_1"}, "1.0", true, false},
    {{"real_0"}, "0.0", false, true},
    {{"real_minus_0"}, "-0.0", false, true},
    {{"real_1_and_a_half"}, "1.5", false, false},
    {{"null"}, "null", false, false},
    {{"list"}, "[0]", false, false},
    {{"object"}, "{}", false, false},
};

class Flag : public ExpectedKeys, public ::testing::WithParamInterface<FlagCase> {
 protected:
  Keys keys(const char* intftype, const char* field) {
    const InterfaceRecord record = load({{field, GetParam().value}});
    construct_key_db(record, intftype, "123", "2");
    return keys_of(record);
  }
};

TEST_P(Flag, is_l2_of_a_bundle_is_compared_with_1) {
  EXPECT_THAT(keys("bundle", "is_l2"),
              ElementsAre("0x7b", GetParam().equals_1 ? "0x40000009" : "0x5"));
}

TEST_P(Flag, is_l2_of_a_bundle_sub_interface_is_compared_with_0) {
  EXPECT_THAT(keys("bundle-subif", "is_l2"),
              ElementsAre("0x7b", GetParam().equals_0 ? "0x5" : "0x40000009"));
}

TEST_P(Flag, is_l2_of_a_physical_sub_interface_is_compared_with_0) {
  EXPECT_EQ(keys("physical-subif", "is_l2"), GetParam().equals_0
                                                 ? Keys({"0x7b", "0x5", "0x40020009"})
                                                 : Keys({"0x7b", "0x40020009"}));
}

TEST_P(Flag, is_l2_of_a_physical_port_is_compared_with_0) {
  EXPECT_EQ(keys("physical", "is_l2"), GetParam().equals_0
                                           ? Keys({"0x7b", "0x5", "0x40020009", "0x30000"})
                                           : Keys({"0x7b", "0x30000", "0x40020009", "0x40030000"}));
}

TEST_P(Flag, is_member_is_compared_with_0) {
  if (GetParam().equals_0) {
    EXPECT_EQ(keys("physical", "is_member").size(), 4U);
  } else {
    // A member looks for its bundle, of which this node has none.
    EXPECT_THAT(error_of<CheckError>([&] { keys("physical", "is_member"); }),
                HasSubstr("refers to \"7\""));
  }
}

INSTANTIATE_TEST_SUITE_P(Values, Flag, ::testing::ValuesIn(kFlagCases), row_name<FlagCase>);

TEST_F(ExpectedKeys, class_other_than_the_six_leaves_the_record_as_it_is) {
  for (const char* const intftype : {"loopback", "", "Physical", "physical ", "bundle_subif"}) {
    const InterfaceRecord record = load({});
    construct_key_db(record, intftype, "123", "2");
    EXPECT_THAT(keys_of(record), ElementsAre("none")) << intftype;
  }
}

TEST_F(ExpectedKeys, bundle_call_replaces_the_list_and_drops_what_members_added) {
  const InterfaceRecord record = load({});
  record.additions().key_list = KeyList{1, 2, 3};
  construct_key_db(record, "bundle", "123", "2");
  EXPECT_THAT(keys_of(record), ElementsAre("0x7b", "0x5"));
}

TEST_F(ExpectedKeys, bundle_sub_interface_call_replaces_the_list) {
  const InterfaceRecord record = load({});
  record.additions().key_list = KeyList{1, 2, 3};
  construct_key_db(record, "bundle-subif", "123", "2");
  EXPECT_THAT(keys_of(record), ElementsAre("0x7b", "0x5"));
}

struct HandleCase : Row {
  const char* handle;
  const char* key;
};

const HandleCase kHandleCases[] = {
    {{"zero"}, "0", "0x0"},
    {{"leading_zeros"}, "007", "0x7"},
    {{"bit_32"}, "4294967296", "0x100000000"},
    {{"65_bits"}, "18446744073709551616", "0x10000000000000000"},
    {{"negative"}, "-5", "-0x5"},
};

class Handle : public ExpectedKeys, public ::testing::WithParamInterface<HandleCase> {};

TEST_P(Handle, heads_the_list) {
  const InterfaceRecord record = load({});
  construct_key_db(record, "bundle", GetParam().handle, "2");
  EXPECT_THAT(keys_of(record), ElementsAre(GetParam().key, "0x5"));
}

INSTANTIATE_TEST_SUITE_P(Handles, Handle, ::testing::ValuesIn(kHandleCases), row_name<HandleCase>);

TEST_F(ExpectedKeys, classes_without_a_port_ask_the_platform_nothing) {
  run_state().router = 0;  // asking for the port would probe the router model
  const RecordedCommands commands;
  for (const char* const intftype : {"bundle", "bundle-subif", "gre"}) {
    construct_key_db(load({}), intftype, "123", "2");
  }
  EXPECT_THAT(commands.lines(), IsEmpty());
}

TEST_F(ExpectedKeys, a_port_without_bundle_is_not_asked_for_the_bundle_scale) {
  run_state().router = 0;
  const RecordedCommands commands;
  for (const char* const intftype : {"physical", "physical-subif", "bvi"}) {
    construct_key_db(load({}), intftype, "123", "2");
  }
  EXPECT_THAT(commands.lines(), ElementsAre("/pkg/bin/relinfo_print"));
}

// ---- What ends the derivation

struct FailureCase : Row {
  const char* intftype;
  Fields changes;
  const char* complaint;
  const char* handle = "123";
  const char* node = "2";
};

const FailureCase kFailureCases[] = {
    // Read first, in this order, whether the class uses them or not.
    {{"rif_is_read_first"},
     "bundle",
     {{"rif", kMissing}, {"lif", kMissing}, {"ssp", kMissing}, {"slot", kMissing}},
     "no field \"rif\""},
    {{"lif_is_read_before_ssp"},
     "bundle",
     {{"lif", kMissing}, {"ssp", kMissing}, {"slot", kMissing}},
     "no field \"lif\""},
    {{"ssp_is_read_before_slot"},
     "bundle",
     {{"ssp", kMissing}, {"slot", kMissing}},
     "no field \"ssp\""},
    {{"slot_is_read_before_the_handle"},
     "bundle",
     {{"slot", kMissing}},
     "no field \"slot\"",
     "abc"},
    {{"handle_is_read_before_is_l2"}, "bundle", {{"is_l2", kMissing}}, "handle", "abc"},
    {{"bvi_without_slot"}, "bvi", {{"slot", kMissing}}, "no field \"slot\""},
    {{"physical_without_lif"}, "physical", {{"lif", kMissing}}, "no field \"lif\""},
    {{"class_other_than_the_six_without_rif"}, "loopback", {{"rif", kMissing}}, "no field \"rif\""},
    {{"class_other_than_the_six_with_a_bad_handle"}, "loopback", {}, "handle", "abc"},
    // The handle.
    {{"handle_in_hexadecimal"}, "bundle", {}, "handle", "0x7b"},
    {{"handle_with_text_behind_it"}, "bundle", {}, "handle", "12abc"},
    {{"empty_handle"}, "gre", {}, "handle", ""},
    // Values that cannot be masked.
    {{"rif_as_text"}, "bundle", {{"rif", "\"5\""}}, "has rif a text \"5\""},
    {{"rif_as_float"}, "bundle", {{"rif", "5.0"}}, "rif"},
    {{"rif_null"}, "bundle", {{"rif", "null"}}, "rif null"},
    {{"rif_list"}, "bundle", {{"rif", "[5]"}}, "rif a list"},
    {{"lif_as_text"}, "physical-subif", {{"is_l2", "1"}, {"lif", "\"9\""}}, "lif a text"},
    {{"lif_as_float"}, "physical-subif", {{"is_l2", "1"}, {"lif", "9.0"}}, "lif"},
    {{"lif_null"}, "bvi", {{"lif", "null"}}, "lif null"},
    // Values that cannot be converted.
    {{"ssp_text_that_is_no_number"}, "physical", {{"ssp", "\"three\""}}, "ssp a text"},
    {{"ssp_in_hexadecimal"}, "physical", {{"ssp", "\"0x3\""}}, "ssp a text"},
    {{"ssp_empty_text"}, "physical", {{"ssp", "\"\""}}, "ssp a text"},
    {{"ssp_null"}, "physical", {{"ssp", "null"}}, "ssp null"},
    {{"ssp_object"}, "physical", {{"ssp", "{}"}}, "ssp an object"},
    {{"ssp_real_out_of_range"}, "physical", {{"ssp", "1e999"}}, "ssp"},
    {{"slot_text_that_is_no_number"}, "bvi", {{"slot", "\"LC2\""}}, "slot a text \"LC2\""},
    {{"slot_null"}, "bvi", {{"slot", "null"}}, "slot null"},
    {{"node_that_is_no_slot"}, "physical", {}, "slot \"RP0\"", "123", "RP0"},
    {{"erif_text_that_is_no_number"}, "gre", {{"erif", "\"e\""}}, "erif a text"},
    {{"drif_null"}, "gre", {{"drif", "null"}}, "drif null"},
    // What comes first in a class.
    {{"physical_without_is_l2"}, "physical", {{"is_l2", kMissing}}, "no field \"is_l2\""},
    {{"physical_port_is_asked_for_before_is_l2"},
     "physical",
     {{"is_l2", kMissing}},
     "slot \"RP0\"",
     "123",
     "RP0"},
    {{"physical_layer_3_rif_before_lif"},
     "physical",
     {{"rif", "null"}, {"lif", "null"}, {"ssp", "null"}},
     "rif null"},
    {{"physical_layer_3_lif_before_ssp"},
     "physical",
     {{"lif", "null"}, {"ssp", "null"}},
     "lif null"},
    {{"physical_layer_2_ssp_before_lif"},
     "physical",
     {{"is_l2", "1"}, {"lif", "null"}, {"ssp", "null"}},
     "ssp null"},
    {{"physical_is_member_is_read_after_its_keys"},
     "physical",
     {{"is_member", kMissing}, {"ssp", "null"}},
     "ssp null"},
    {{"physical_without_is_member"},
     "physical",
     {{"is_member", kMissing}},
     "no field \"is_member\""},
    {{"physical_subif_without_parent_ifh"},
     "physical-subif",
     {{"parent_ifh", kMissing}},
     "no field \"parent_ifh\""},
    {{"physical_subif_parent_ifh_is_read_before_the_port"},
     "physical-subif",
     {{"parent_ifh", kMissing}},
     "no field \"parent_ifh\"",
     "123",
     "RP0"},
    {{"physical_subif_port_is_asked_for_before_is_l2"},
     "physical-subif",
     {{"is_l2", kMissing}},
     "slot \"RP0\"",
     "123",
     "RP0"},
    {{"bundle_without_is_l2"}, "bundle", {{"is_l2", kMissing}}, "no field \"is_l2\""},
    {{"bundle_subif_without_is_l2"}, "bundle-subif", {{"is_l2", kMissing}}, "no field \"is_l2\""},
    {{"bvi_port_is_asked_for_before_lif"}, "bvi", {{"slot", "null"}, {"lif", "null"}}, "slot null"},
    {{"bvi_lif_before_rif"}, "bvi", {{"lif", "null"}, {"rif", "null"}}, "lif null"},
    {{"gre_handle_is_read_before_erif"}, "gre", {{"erif", kMissing}}, "handle", "abc"},
    {{"gre_without_erif_and_drif"},
     "gre",
     {{"erif", kMissing}, {"drif", kMissing}},
     "no field \"erif\""},
    {{"gre_reads_drif_before_it_converts_erif"},
     "gre",
     {{"erif", "null"}, {"drif", kMissing}},
     "no field \"drif\""},
    {{"member_without_bundle_ifh"},
     "physical",
     {{"is_member", "1"}, {"bundle_ifh", kMissing}},
     "no field \"bundle_ifh\""},
    {{"member_with_a_bundle_ifh_that_is_no_number"},
     "physical",
     {{"is_member", "1"}, {"bundle_ifh", "\"Bundle-Ether7\""}},
     "bundle_ifh a text"},
    {{"member_of_a_bundle_that_the_node_does_not_have"},
     "physical",
     {{"is_member", "1"}},
     "refers to \"7\", which node 2 does not report"},
};

class Failure : public ExpectedKeys, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(Failure, leaves_no_key_list) {
  const FailureCase& row = GetParam();
  const InterfaceRecord record = load(row.changes);
  const std::string complaint =
      error_of<CheckError>([&] { construct_key_db(record, row.intftype, row.handle, row.node); });
  EXPECT_THAT(complaint, HasSubstr(row.complaint));
  EXPECT_THAT(keys_of(record), ElementsAre("none"));
}

INSTANTIATE_TEST_SUITE_P(Failures, Failure, ::testing::ValuesIn(kFailureCases),
                         row_name<FailureCase>);

TEST_F(ExpectedKeys, complaint_names_the_dump_file_and_the_interface) {
  const InterfaceRecord record = load({{"rif", kMissing}});
  EXPECT_EQ(error_of<CheckError>([&] { construct_key_db(record, "bundle", "123", "2"); }),
            R"(/tmp/pidb_test.dat: interface "123" has no field "rif")");
}

TEST_F(ExpectedKeys, record_that_is_no_object) {
  InterfaceTable table = interface_table(R"({"123": [1, 2]})");
  EXPECT_THAT(error_of<CheckError>([&] {
                construct_key_db({table, 0}, "bundle", "123", "2");
              }),
              EndsWith("interface \"123\" is a list, not a record"));
}

TEST_F(ExpectedKeys, failure_keeps_the_list_that_was_there) {
  const InterfaceRecord record = load({{"is_l2", kMissing}});
  record.additions().key_list = KeyList{1};
  error_of<CheckError>([&] { construct_key_db(record, "bundle", "123", "2"); });
  EXPECT_THAT(keys_of(record), ElementsAre("0x1"));
}

// ---- Bundle members

// Port 123 (0x7b) of node 2 in its bundle 7, which has the sub-interfaces 21 and 22.
class BundleMember : public ExpectedKeys {
 protected:
  BundleMember() {
    run_state().dl_fd.set(std::make_shared<LogStream>(kLog));
    tools.answer("confdump", "");
    have_bundle(R"({"rif": 70, "lif": 71, "is_l2": 0})");
    run_state().pidb_bundle_subifh.set("2", interface_table(R"({
        "21": {"rif": 210, "lif": 211, "is_l2": 0},
        "22": {"rif": 220, "lif": 221, "is_l2": 1}})"));
  }
  void have_bundle(const std::string& record) {
    run_state().pidb_bundle_ifh.set("2", interface_table("{\"7\": " + record + "}"));
  }

  InterfaceRecord bundle() { return record_of(run_state().pidb_bundle_ifh, "2", "7"); }
  InterfaceRecord subif(const std::string& handle) {
    return record_of(run_state().pidb_bundle_subifh, "2", handle);
  }
  void list_subifs(std::vector<std::string> handles) {
    bundle().additions().subiflist = std::make_unique<SubifList>(SubifList{{}, std::move(handles)});
  }

  InterfaceRecord construct(Fields changes = {}) {
    changes.try_emplace("is_member", "1");
    const InterfaceRecord member = load(changes);
    construct_key_db(member, "physical", "123", "2");
    return member;
  }

  static std::string log_text() {
    run_state().dl_fd.get()->flush();
    return read_text(kLog);
  }
};

TEST_F(BundleMember, layer_3_member_of_a_layer_3_bundle_hands_its_keys_over_without_its_handle) {
  bundle().additions().key_list = KeyList{7, 70};
  const InterfaceRecord member = construct();
  EXPECT_THAT(keys_of(member), ElementsAre("none"));
  EXPECT_THAT(keys_of(bundle()),
              ElementsAre("0x7", "0x46", "0x5", "0x40020009", "0x30000", "0x83050000"));
}

TEST_F(BundleMember, layer_2_member_of_a_layer_3_bundle) {
  construct({{"is_l2", "1"}});
  EXPECT_THAT(keys_of(bundle()), ElementsAre("0x30000", "0x40020009", "0x40030000", "0x83050000"));
}

TEST_F(BundleMember, layer_2_bundle_receives_its_lif_key_once_per_member) {
  have_bundle(R"({"rif": 70, "lif": 71, "is_l2": 1})");
  construct();
  construct();
  EXPECT_THAT(keys_of(bundle()),
              ElementsAre("0x5", "0x40020009", "0x30000", "0x83050000", "0x40000047",  //
                          "0x5", "0x40020009", "0x30000", "0x83050000", "0x40000047"));
}

TEST_F(BundleMember, is_l2_of_2_makes_the_bundle_layer_2_for_its_members) {
  have_bundle(R"({"rif": 70, "lif": 71, "is_l2": 2})");
  construct();
  EXPECT_THAT(keys_of(bundle()),
              ElementsAre("0x5", "0x40020009", "0x30000", "0x83050000", "0x40000047"));
}

TEST_F(BundleMember, key_list_of_the_bundle_that_exists_but_is_empty_is_set) {
  bundle().additions().key_list = KeyList{};
  construct();
  EXPECT_THAT(keys_of(bundle()), ElementsAre("0x5", "0x40020009", "0x30000", "0x83050000"));
}

TEST_F(BundleMember, bundle_without_key_list_gets_one) {
  construct();
  EXPECT_THAT(keys_of(bundle()), ElementsAre("0x5", "0x40020009", "0x30000", "0x83050000"));
}

TEST_F(BundleMember, bundle_without_subiflist_gives_no_sub_interface_a_key) {
  construct();
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("none"));
}

TEST_F(BundleMember, every_sub_interface_listed_gets_one_key_without_handle) {
  list_subifs({"21", "22"});
  construct();
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("0xd2"));
  EXPECT_THAT(keys_of(subif("22")), ElementsAre("0x400000dd"));
}

TEST_F(BundleMember, sub_interface_with_keys_is_extended_once_per_member) {
  list_subifs({"21"});
  subif("21").additions().key_list = KeyList{21, 210};
  construct();
  construct();
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("0x15", "0xd2", "0xd2", "0xd2"));
}

TEST_F(BundleMember, sub_interface_whose_key_list_is_empty_is_set) {
  list_subifs({"21"});
  subif("21").additions().key_list = KeyList{};
  construct();
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("0xd2"));
}

TEST_F(BundleMember, subiflist_supplied_by_the_dump_is_used) {
  have_bundle(R"({"rif": 70, "lif": 71, "is_l2": 0, "subiflist": ["22"]})");
  construct();
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("none"));
  EXPECT_THAT(keys_of(subif("22")), ElementsAre("0x400000dd"));
  EXPECT_THAT(log_text(), EndsWith("\nbsubif_ifh_list :\n[\"22\"]\n"));
}

TEST_F(BundleMember, log_shows_the_bundle_with_its_keys_and_its_sub_interfaces) {
  list_subifs({"21", "22"});
  construct();
  EXPECT_EQ(log_text(),
            "\nbundle_key_inputs:\n"
            "{\n"
            " \"is_l2\": 0,\n"
            " \"key_list\": [\"0x5\", \"0x40020009\", \"0x30000\", \"0x83050000\"],\n"
            " \"lif\": 71,\n"
            " \"rif\": 70,\n"
            " \"subiflist\": [\"21\", \"22\"]\n"
            "}\n"
            "\nbsubif_ifh_list :\n"
            "[\"21\", \"22\"]\n");
}

TEST_F(BundleMember, log_of_a_bundle_without_sub_interfaces_has_no_list_of_them) {
  construct();
  EXPECT_EQ(log_text(),
            "\nbundle_key_inputs:\n"
            "{\n"
            " \"is_l2\": 0,\n"
            " \"key_list\": [\"0x5\", \"0x40020009\", \"0x30000\", \"0x83050000\"],\n"
            " \"lif\": 71,\n"
            " \"rif\": 70\n"
            "}\n");
}

TEST_F(BundleMember, log_is_the_one_that_was_opened_last) {
  const auto own = std::make_shared<LogStream>("/tmp/own_log.txt");
  run_state().dl_fd.set(own);
  run_state().dl_fd.set(std::make_shared<LogStream>(kLog));
  construct();
  own->flush();
  EXPECT_EQ(read_text("/tmp/own_log.txt"), "");
  EXPECT_THAT(log_text(), HasSubstr("bundle_key_inputs"));
}

struct MemberPortCase : Row {
  int router;
  const char* configuration;
  Fields changes;
  const char* key;  // of the member port
  bool asks_for_scale = true;
};

const MemberPortCase kMemberPortCases[] = {
    {{"no_bundle_scale_is_spa_mode_0"}, kUnknownModel, "", {}, "0x83050000"},
    {{"bundle_scale_256_is_spa_mode_0"},
     kUnknownModel,
     "hw-module profile bundle-scale 256\n",
     {},
     "0x83050000"},
    {{"bundle_scale_512_is_spa_mode_1"},
     kUnknownModel,
     "hw-module profile bundle-scale 512\n",
     {},
     "0x86050000"},
    {{"bundle_scale_1024_is_spa_mode_2"},
     kUnknownModel,
     "hw-module profile bundle-scale 1024\n",
     {},
     "0x8c050000"},
    {{"other_bundle_scale_is_spa_mode_10"},
     kUnknownModel,
     "hw-module profile bundle-scale 2048\n",
     {},
     "0xc80050000"},
    {{"k310x_shifts_by_8_whatever_the_probe_would_say"},
     kModelK310x,
     "hw-module profile bundle-scale 1024\n",
     {},
     "0x83050000",
     false},
    {{"kvr_330_asks_for_the_scale"},
     kModelKvr330,
     "hw-module profile bundle-scale 512\n",
     {},
     "0x86050000"},
    {{"ddc_asks_for_the_scale"},
     kModelDdc,
     "hw-module profile bundle-scale 512\n",
     {},
     "0x86050000"},
    {{"memid_and_lagid_as_text"},
     kUnknownModel,
     "",
     {{"memid", "\"3\""}, {"lagid", "\"5\""}},
     "0x83050000"},
    {{"memid_and_lagid_with_fractions"},
     kUnknownModel,
     "",
     {{"memid", "3.9"}, {"lagid", "5.1"}},
     "0x83050000"},
    {{"memid_and_lagid_as_truth_values"},
     kUnknownModel,
     "",
     {{"memid", "true"}, {"lagid", "false"}},
     "0x81000000"},
    {{"lagid_beyond_8_bits_is_ored_in"}, kUnknownModel, "", {{"lagid", "768"}}, "0x83000000"},
    {{"memid_beyond_64_bits"},
     kUnknownModel,
     "",
     {{"memid", "18446744073709551616"}},
     "0x10000000000000080050000"},
    {{"bundle_ifh_as_text"}, kUnknownModel, "", {{"bundle_ifh", "\"7\""}}, "0x83050000"},
    {{"bundle_ifh_with_leading_zeros"},
     kUnknownModel,
     "",
     {{"bundle_ifh", "\"007\""}},
     "0x83050000"},
    {{"bundle_ifh_with_a_fraction"}, kUnknownModel, "", {{"bundle_ifh", "7.5"}}, "0x83050000"},
    {{"own_ssp_is_not_in_the_member_port"}, kUnknownModel, "", {{"ssp", "\"4\""}}, "0x83050000"},
};

class MemberPort : public BundleMember, public ::testing::WithParamInterface<MemberPortCase> {};

TEST_P(MemberPort, is_memid_shifted_and_lagid) {
  run_state().router = GetParam().router;
  tools.answer("confdump", GetParam().configuration);
  const RecordedCommands commands;
  construct(GetParam().changes);
  EXPECT_EQ(keys_of(bundle()).back(), GetParam().key);
  std::vector<std::string> expected;
  if (GetParam().asks_for_scale) {
    expected.emplace_back("confdump -c -q gl/early/hw-module/profile/bundle-scale/");
  }
  EXPECT_EQ(commands.lines(), expected);
}

INSTANTIATE_TEST_SUITE_P(Ports, MemberPort, ::testing::ValuesIn(kMemberPortCases),
                         row_name<MemberPortCase>);

TEST_F(BundleMember, scale_is_asked_for_once_per_member) {
  const RecordedCommands commands;
  construct();
  construct();
  EXPECT_EQ(commands.lines().size(), 2U);
}

struct MemberFailureCase : Row {
  Fields changes;
  const char* bundle;  // its record
  const char* complaint;
  bool has_asked;  // for the bundle scale
};

constexpr const char* kGoodBundle = R"({"rif": 70, "lif": 71, "is_l2": 0})";

const MemberFailureCase kMemberFailureCases[] = {
    {{"bundle_is_looked_up_before_the_scale_is_asked_for"},
     {{"bundle_ifh", "8"}, {"memid", kMissing}},
     kGoodBundle,
     "refers to \"8\", which node 2 does not report",
     false},
    {{"scale_is_asked_for_before_memid_is_read"},
     {{"memid", kMissing}},
     kGoodBundle,
     "no field \"memid\"",
     true},
    {{"memid_is_read_before_lagid"},
     {{"memid", "null"}, {"lagid", kMissing}},
     kGoodBundle,
     "memid null",
     true},
    {{"lagid_is_read_before_the_bundle"},
     {{"lagid", "\"lag\""}},
     R"({"lif": 71, "is_l2": 0})",
     "lagid a text",
     true},
    {{"bundle_without_rif"}, {}, R"({"is_l2": 1})", R"("7" has no field "rif")", true},
    {{"bundle_without_lif"}, {}, R"({"rif": 70, "is_l2": 0})", "no field \"lif\"", true},
    {{"bundle_without_is_l2"}, {}, R"({"rif": 70, "lif": 71})", "no field \"is_l2\"", true},
    {{"layer_2_bundle_with_a_lif_as_text"},
     {},
     R"({"rif": 70, "lif": "71", "is_l2": 1})",
     "lif a text",
     true},
    {{"bundle_that_is_no_object"}, {}, "5", "not a record", true},
    {{"own_keys_before_the_bundle"},
     {{"ssp", "null"}, {"bundle_ifh", kMissing}},
     kGoodBundle,
     "ssp null",
     false},
};

class MemberFailure : public BundleMember,
                      public ::testing::WithParamInterface<MemberFailureCase> {};

TEST_P(MemberFailure, leaves_the_bundle_without_its_keys) {
  have_bundle(GetParam().bundle);
  const RecordedCommands commands;
  EXPECT_THAT(error_of<CheckError>([&] { construct(GetParam().changes); }),
              HasSubstr(GetParam().complaint));
  EXPECT_THAT(keys_of(bundle()), ElementsAre("none"));
  EXPECT_EQ(log_text(), "");
  EXPECT_EQ(commands.lines().size(), GetParam().has_asked ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Failures, MemberFailure, ::testing::ValuesIn(kMemberFailureCases),
                         row_name<MemberFailureCase>);

TEST_F(BundleMember, scale_that_cannot_be_read_ends_it) {
  tools.answer("confdump", "hw-module profile\n");
  EXPECT_THAT(error_of<CheckError>([&] { construct(); }), HasSubstr("bundle-scale"));
  EXPECT_THAT(keys_of(bundle()), ElementsAre("none"));
}

TEST_F(BundleMember, bundle_of_another_node_is_none) {
  run_state().pidb_bundle_ifh.set("2", interface_table("{}"));
  run_state().pidb_bundle_ifh.set("3",
                                  interface_table("{\"7\": " + std::string(kGoodBundle) + "}"));
  EXPECT_THAT(error_of<CheckError>([&] { construct(); }),
              HasSubstr("which node 2 does not report"));
}

struct SubifFailureCase : Row {
  const char* subif;  // record of the sub-interface that is listed second
  const char* complaint;
};

const SubifFailureCase kSubifFailureCases[] = {
    {{"without_rif"}, R"({"lif": 221, "is_l2": 1})", R"("22" has no field "rif")"},
    {{"without_lif"}, R"({"rif": 220, "is_l2": 0})", R"("22" has no field "lif")"},
    {{"without_is_l2"}, R"({"rif": 220, "lif": 221})", R"("22" has no field "is_l2")"},
    {{"lif_as_text"}, R"({"rif": 220, "lif": "221", "is_l2": 1})", "lif a text"},
    {{"no_object"}, "[]", "not a record"},
};

class SubifFailure : public BundleMember, public ::testing::WithParamInterface<SubifFailureCase> {};

TEST_P(SubifFailure, keeps_what_was_stored_before) {
  run_state().pidb_bundle_subifh.set(
      "2", interface_table(R"({"21": {"rif": 210, "lif": 211, "is_l2": 0}, "22": )" +
                           std::string(GetParam().subif) + "}"));
  list_subifs({"21", "22"});
  EXPECT_THAT(error_of<CheckError>([&] { construct(); }), HasSubstr(GetParam().complaint));
  EXPECT_EQ(keys_of(bundle()).size(), 4U);
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("0xd2"));
  EXPECT_THAT(keys_of(subif("22")), ElementsAre("none"));
  EXPECT_THAT(log_text(), EndsWith("\nbsubif_ifh_list :\n[\"21\", \"22\"]\n"));
}

INSTANTIATE_TEST_SUITE_P(Failures, SubifFailure, ::testing::ValuesIn(kSubifFailureCases),
                         row_name<SubifFailureCase>);

TEST_F(BundleMember, sub_interface_that_the_node_does_not_report) {
  list_subifs({"21", "23"});
  EXPECT_THAT(error_of<CheckError>([&] { construct(); }),
              HasSubstr(R"("7" refers to "23", which node 2 does not report)"));
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("0xd2"));
}

TEST_F(BundleMember, sub_interface_handle_is_looked_up_as_it_stands) {
  list_subifs({"021"});
  EXPECT_THAT(error_of<CheckError>([&] { construct(); }), HasSubstr("\"021\""));
}

TEST_F(BundleMember,
       subiflist_supplied_by_the_dump_that_is_no_list_fails_after_the_bundle_was_logged) {
  have_bundle(R"({"rif": 70, "lif": 71, "is_l2": 0, "subiflist": "21"})");
  EXPECT_THAT(error_of<CheckError>([&] { construct(); }), HasSubstr("subiflist a text"));
  EXPECT_EQ(keys_of(bundle()).size(), 4U);
  EXPECT_THAT(log_text(), HasSubstr("bundle_key_inputs"));
}

TEST_F(BundleMember, element_of_the_dumps_subiflist_that_is_no_text_ends_it) {
  have_bundle(R"({"rif": 70, "lif": 71, "is_l2": 0, "subiflist": ["21", 22]})");
  EXPECT_THAT(error_of<CheckError>([&] { construct(); }), HasSubstr("\"22\" in its subiflist"));
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("0xd2"));
  EXPECT_THAT(log_text(), EndsWith("\nbsubif_ifh_list :\n[\"21\", 22]\n"));
}

TEST_F(BundleMember, without_a_log_the_keys_are_derived_all_the_same) {
  run_state().dl_fd.set(nullptr);
  list_subifs({"21"});
  construct();
  EXPECT_EQ(keys_of(bundle()).size(), 4U);
  EXPECT_THAT(keys_of(subif("21")), ElementsAre("0xd2"));
}

}  // namespace
}  // namespace zorbec::unit
