#include "dump/dump_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "tables/dump_tables.h"
#include "tests/unit/dump/node_copies_test.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/run_state_test.h"
#include "tests/unit/support/tables.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using CopyFromNode = NodeCopiesTest;
using ParseDump = RunStateTest;
using LoadDump = RunStateTest;

TEST_F(CopyFromNode, copies_byte_for_byte) {
  const std::string bytes("{\"\0\xff\n\r\n", 7);
  node_has("10.0.0.1", "pmdb.dat", bytes);
  const RecordedCommands commands;
  copy_from_node("10.0.0.1", "/tmp/pmdb.dat", "/tmp/pmdb_3.dat");
  EXPECT_EQ(read_text("/tmp/pmdb_3.dat"), bytes);
  EXPECT_THAT(commands.lines(), ElementsAre("scp root@10.0.0.1:/tmp/pmdb.dat /tmp/pmdb_3.dat"));
  EXPECT_THAT(commands.outputs(), ElementsAre("/tmp/zorbec0.log"));
}

TEST_F(CopyFromNode, failure_is_not_seen) {
  write_text("/tmp/pmdb_3.dat", "old");
  copy_from_node("10.0.0.1", "/tmp/pmdb.dat", "/tmp/pmdb_3.dat");
  EXPECT_EQ(read_text("/tmp/pmdb_3.dat"), "old");
}

TEST_F(CopyFromNode, link_under_the_local_name_is_replaced_and_not_followed) {
  node_has("10.0.0.1", "pmdb.dat", "{}");
  write_text("/tmp/precious", "precious");
  std::filesystem::create_symlink("/tmp/precious", "/tmp/pmdb_3.dat");
  copy_from_node("10.0.0.1", "/tmp/pmdb.dat", "/tmp/pmdb_3.dat");
  EXPECT_EQ(read_text("/tmp/precious"), "precious");
  EXPECT_EQ(read_text("/tmp/pmdb_3.dat"), "{}");
}

TEST_F(CopyFromNode, fifo_under_the_local_name_is_not_waited_for) {
  node_has("10.0.0.1", "pmdb.dat", "{}");
  ASSERT_EQ(::mkfifo("/tmp/pmdb_3.dat", 0600), 0);
  copy_from_node("10.0.0.1", "/tmp/pmdb.dat", "/tmp/pmdb_3.dat");
  EXPECT_TRUE(std::filesystem::is_regular_file("/tmp/pmdb_3.dat"));
}

TEST_F(ParseDump, names_the_file_that_is_no_json) {
  write_text("/tmp/bad.dat", "{\"1\": }");
  EXPECT_THAT(error_of<JsonError>([] { parse_dump("/tmp/bad.dat"); }),
              StartsWith("/tmp/bad.dat: "));
}

TEST_F(ParseDump, file_that_is_not_there) {
  EXPECT_THAT(error_of<std::system_error>([] { parse_dump("/tmp/not_there.dat"); }),
              HasSubstr("/tmp/not_there.dat"));
}

TEST_F(LoadDump, replaces_what_the_node_had_and_leaves_others_alone) {
  InterfaceTables table;
  table.set("2", InterfaceTable("old"));
  table.set("3", InterfaceTable("old"));
  write_text("/tmp/good.dat", "{\"17\": {}}");
  load_dump(table, "3", "/tmp/good.dat");
  EXPECT_EQ(table.find("3")->document.name(0), "17");
  EXPECT_EQ(table.find("3")->source, "/tmp/good.dat");
  EXPECT_EQ(table.find("2")->source, "old");
}

TEST_F(LoadDump, empty_copy_changes_nothing) {
  InterfaceTables table;
  table.set("3", InterfaceTable("old"));
  write_text("/tmp/empty.dat", "");
  load_dump(table, "3", "/tmp/empty.dat");
  load_dump(table, "4", "/tmp/empty.dat");
  EXPECT_EQ(table.find("3")->source, "old");
  EXPECT_EQ(table.find("4"), nullptr);
}

TEST_F(LoadDump, copy_that_is_not_there_changes_nothing) {
  InterfaceTables table;
  table.set("3", InterfaceTable("old"));
  EXPECT_THAT(error_of<std::system_error>([&] { load_dump(table, "3", "/tmp/not_there.dat"); }),
              HasSubstr("/tmp/not_there.dat"));
  EXPECT_EQ(table.find("3")->source, "old");
}

struct BadCopyCase : Row {
  const char* text;
};

const BadCopyCase kBadCopies[] = {
    {{"words"}, "iftruth_dump: busy\n"},
    {{"blank"}, " "},
    {{"newline"}, "\n"},
    {{"first_half"}, "{\"17\": {}"},
    {{"two_documents"}, "{}{}"},
    {{"comma_alone"}, "{,}"},
    {{"single_quotes"}, "{'17': {}}"},
};

class BadCopy : public RunStateTest, public ::testing::WithParamInterface<BadCopyCase> {};

TEST_P(BadCopy, leaves_an_empty_table) {
  InterfaceTables table;
  table.set("3", interface_table(R"({"17": {}})"));
  write_text("/tmp/bad.dat", GetParam().text);
  EXPECT_THAT(error_of<JsonError>([&] { load_dump(table, "3", "/tmp/bad.dat"); }),
              StartsWith("/tmp/bad.dat: "));
  EXPECT_EQ(table.find("3")->document.size(), 0U);
  EXPECT_TRUE(table.find("3")->document.is_object());
}

INSTANTIATE_TEST_SUITE_P(Copies, BadCopy, ::testing::ValuesIn(kBadCopies), row_name<BadCopyCase>);

}  // namespace
}  // namespace zorbec::unit
