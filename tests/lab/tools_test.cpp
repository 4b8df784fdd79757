// What each simulated tool answers on a router without damage.

#include <gtest/gtest.h>

#include "lab_process.h"

namespace zorbec::lab {
namespace {

constexpr char kCard[] = "192.0.16.1";

class RouterTools : public ::testing::Test {
 protected:
  RouterTools() {
    router.write("banner.txt", "the banner");
    router.write("nodemap.txt", "the node table\n");
    router.write("config.txt", "interface tunnel-ip1\n");
    router.write("bundle-scale.txt", "hw-module profile bundle-scale 512\n");
    router.write("ifmgr/1073741829", "Bundle-Ether17\n");
    const std::string node = std::string("nodes/") + kCard + "/";
    for (const char* tool :
         {"iftruth_dump", "hwkey_dump", "tunnel_db_print", "mcroute_print", "fwdobj_print"}) {
      router.write(node + "out/" + tool, std::string(tool) + " says\n");
    }
    router.write(node + "rifs/0x1234", "intf_info.rif: 0x1234\n");
    router.write(node + "uptime", "12345.67 54321.00\n");
    router.write(node + "dumps/pidb_bundle.dat", "{\"1\": {}}\n");
    router.write(node + "dumps/pidb_bvi_intf.dat", "");
    router.write(node + "dumps/pidb_gre_intf.dat", "{\"2\": {}}\n");
    router.write(node + "dumps/pmdb.dat", std::string("{\0}", 3));
    router.write(node + "tmp/pidb_physical.dat", "from an earlier dump\n");
  }

  Ended run(const std::string& script) const { return run_on(router.path(), script); }

  TestFolder router;
};

struct AnswerCase {
  const char* name;
  const char* script;
  int status;
  const char* out;
};

void PrintTo(const AnswerCase& row, std::ostream* stream) {
  *stream << row.name;
}

class RouterToolAnswers : public RouterTools, public ::testing::WithParamInterface<AnswerCase> {};

TEST_P(RouterToolAnswers, as_in_the_folder) {
  const Ended ended = run(GetParam().script);
  EXPECT_EQ(ended.status, GetParam().status) << ended.err;
  EXPECT_EQ(ended.out, GetParam().out);
  EXPECT_EQ(ended.err.empty(), GetParam().status == 0) << ended.err;
}

const AnswerCase kAnswers[] = {
    {"banner_byte_for_byte", "/pkg/bin/relinfo_print", 0, "the banner"},
    {"tools_are_on_path", "relinfo_print", 0, "the banner"},
    {"node_table", "/pkg/bin/nodemap_query -v", 0, "the node table\n"},
    {"configuration", "confdump -c -l 1 -t 1 -o 1", 0, "interface tunnel-ip1\n"},
    {"bundle_scale", "confdump -c -q gl/early/hw-module/profile/bundle-scale/", 0,
     "hw-module profile bundle-scale 512\n"},
    {"ifmgr_known_key", "ifmgr_print database -i 1073741829 -l 0x2", 0, "Bundle-Ether17\n"},
    {"ifmgr_unknown_key", "ifmgr_print database -i 7 -l 0x2", 0, ""},
    {"ifmgr_key_is_no_path", "ifmgr_print database -i ../banner.txt -l 0x2", 0, ""},
    {"appends_to_a_file", "relinfo_print >> /tmp/a; relinfo_print >> /tmp/a; cat /tmp/a", 0,
     "the bannerthe banner"},
    {"wrong_arguments", "/pkg/bin/relinfo_print -x", 2, ""},
    {"missing_arguments", "confdump", 2, ""},
    {"ssh_quoted_option", "ssh  -o 'StrictHostKeyChecking=no'  192.0.16.1 /pkg/bin/iftruth_dump -g",
     0, "iftruth_dump says\n"},
    {"ssh_option_with_blank", "ssh  -o 'StrictHostKeyChecking=no ' 192.0.16.1 cat /proc/uptime", 0,
     "12345.67 54321.00\n"},
    {"ssh_plain_option", "ssh -o StrictHostKeyChecking=no 192.0.16.1 /pkg/bin/hwkey_dump -r 0x1234",
     0, "intf_info.rif: 0x1234\n"},
    {"ssh_joined_option", "ssh -oBatchMode=yes 192.0.16.1 /pkg/bin/hwkey_dump -g", 0,
     "hwkey_dump says\n"},
    {"ssh_without_option", "ssh 192.0.16.1 /pkg/bin/mcroute_print -cmd 0x9", 0,
     "mcroute_print says\n"},
    {"ssh_as_root", "ssh root@192.0.16.1 /pkg/bin/fwdobj_print -t 0xbe -l 0 -o b", 0,
     "fwdobj_print says\n"},
    {"ssh_command_in_one_word", "ssh 192.0.16.1 ' /pkg/bin/tunnel_db_print   database '", 0,
     "tunnel_db_print says\n"},
    {"ssh_multicast_routes",
     "ssh  -o 'StrictHostKeyChecking=no' 192.0.16.1 /pkg/bin/mcroute_print -cmd 0x9", 0,
     "mcroute_print says\n"},
    {"ssh_bud_objects",
     "ssh  -o 'StrictHostKeyChecking=no' 192.0.16.1 /pkg/bin/fwdobj_print -t 0xbe -l 0 -o b", 0,
     "fwdobj_print says\n"},
    {"rif_without_file", "ssh 192.0.16.1 /pkg/bin/hwkey_dump -r 0x99", 0, ""},
    {"ssh_wrong_tool_arguments", "ssh 192.0.16.1 /pkg/bin/hwkey_dump", 2, ""},
    {"ssh_unknown_tool", "ssh 192.0.16.1 /pkg/bin/no_such_tool", 127, ""},
    {"ssh_without_tool", "ssh 192.0.16.1", 2, ""},
    {"ssh_unknown_address", "ssh 192.0.99.1 /pkg/bin/hwkey_dump -g", 255, ""},
    {"ssh_address_none", "ssh None /pkg/bin/fwdobj_print -t 0xbe -l 0 -o b", 255, ""},
    {"ssh_address_is_no_path", "ssh .. /pkg/bin/hwkey_dump -g", 255, ""},
    {"scp_unknown_address", "scp root@192.0.99.1:/tmp/pmdb.dat /tmp/x", 255, ""},
    {"scp_before_any_dump", "scp root@192.0.16.1:/tmp/pmdb.dat /tmp/x", 1, ""},
    {"scp_outside_tmp", "scp root@192.0.16.1:/etc/passwd /tmp/x", 1, ""},
    {"scp_out_of_tmp", "scp root@192.0.16.1:/tmp/../dumps /tmp/x", 1, ""},
    {"scp_to_nowhere", "scp root@192.0.16.1:/tmp/pidb_physical.dat /no/such/folder/x", 1, ""},
    {"scp_wrong_arguments", "scp /tmp/x", 2, ""},
    {"node_tool_on_the_route_processor", "/pkg/bin/hwkey_dump -g; ls /tmp | grep pmdb || true", 0,
     ""},
};

INSTANTIATE_TEST_SUITE_P(All, RouterToolAnswers, ::testing::ValuesIn(kAnswers),
                         [](const auto& row) { return row.param.name; });

TEST_F(RouterTools, dump_is_written_on_the_node_and_copied_byte_for_byte) {
  const Ended ended =
      run("ssh 192.0.16.1 /pkg/bin/hwkey_dump -g > /dev/null; ls /tmp | grep pmdb;"
          "scp root@192.0.16.1:/tmp/pmdb.dat /tmp/pmdb_0.dat && cat /tmp/pmdb_0.dat");
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, std::string("{\0}", 3));
}

TEST_F(RouterTools, tunnel_tool_writes_the_tunnel_file_only) {
  const Ended ended =
      run("ssh 192.0.16.1 /pkg/bin/tunnel_db_print database > /dev/null;"
          "scp root@192.0.16.1:/tmp/pidb_gre_intf.dat /tmp/gre && cat /tmp/gre;"
          "scp root@192.0.16.1:/tmp/pidb_bundle.dat /tmp/bundle");
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "{\"2\": {}}\n");
}

TEST_F(RouterTools, empty_dump_is_an_empty_file) {
  const Ended ended =
      run("ssh 192.0.16.1 /pkg/bin/iftruth_dump -g > /dev/null;"
          "scp root@192.0.16.1:/tmp/pidb_bvi_intf.dat /tmp/x && stat -c %s /tmp/x");
  EXPECT_EQ(ended.out, "0\n");
}

TEST_F(RouterTools, dump_without_file_leaves_the_nodes_old_one) {
  const Ended ended =
      run("ssh 192.0.16.1 /pkg/bin/iftruth_dump -g > /dev/null;"
          "scp root@192.0.16.1:/tmp/pidb_physical.dat /tmp && cat /tmp/pidb_physical.dat");
  EXPECT_EQ(ended.out, "from an earlier dump\n");
}

TEST_F(RouterTools, scp_truncates_the_local_file) {
  const Ended ended =
      run("echo a much longer text than the one that comes > /tmp/x; seq 1000 >> /tmp/x;"
          "scp root@192.0.16.1:/tmp/pidb_physical.dat /tmp/x; cat /tmp/x");
  EXPECT_EQ(ended.out, "from an earlier dump\n");
}

TEST(EmptyRouter, answers_nothing) {
  const TestFolder router;
  const Ended ended = run_on(router.path(),
                             "relinfo_print && nodemap_query -v && confdump -c -l 1 -t 1 -o 1 &&"
                             "ifmgr_print database -i 1 -l 0x2");
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, "");
}

}  // namespace
}  // namespace zorbec::lab
