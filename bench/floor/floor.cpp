#include "bench/floor/floor.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "base/files.h"
#include "bench/floor/rendering.h"

namespace zorbec::floor {
namespace {

using Clock = std::chrono::steady_clock;

// What a stage took, all threads together. A stage that begins within another interrupts it.
class Stage {
 public:
  explicit Stage(const char* name) : name_(name) {}

  template <typename Work>
  auto time(Work work) {
    struct Timed {
      explicit Timed(Stage* stage) : outer(switch_to(stage)) {}
      ~Timed() { switch_to(outer); }
      Stage* const outer;
    };
    const Timed timed(this);
    return work();
  }
  void print() const {
    std::printf("  %-16s %7.3f s\n", name_, static_cast<double>(took_) / Clock::period::den);
  }

 private:
  static Stage* switch_to(Stage* stage) {
    thread_local Stage* current = nullptr;
    thread_local Clock::time_point since;
    const Clock::time_point now = Clock::now();
    if (current != nullptr) current->took_ += (now - since).count();
    since = now;
    return std::exchange(current, stage);
  }

  const char* name_;
  std::atomic<Clock::rep> took_ = 0;
};

// Calls work(i) for each i below `count`, on so many threads.
template <typename Work>
void in_parallel(unsigned threads, std::size_t count, Work work) {
  std::atomic<std::size_t> next = 0;
  std::exception_ptr error;
  std::atomic_flag failed;
  const auto take_turns = [&] {
    try {
      for (std::size_t i = next++; i < count; i = next++) work(i);
    } catch (...) {
      if (!failed.test_and_set()) error = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> others;
    for (unsigned i = 1; i < threads; ++i) others.emplace_back(take_turns);
    take_turns();
  }
  if (error) std::rethrow_exception(error);
}

struct Section {
  InterfaceClass intf_class;
  const char* heading;
  const char* result;
};
constexpr std::array<Section, 6> kSections = {{
    {InterfaceClass::kPhysical, "\nphysical intf verification\npidb_physical_ifh is :\n",
     "\n Physical intf Result is : 0"},
    {InterfaceClass::kPhysicalSubif,
     "\nphysical sub intf verification\npidb_physical_subifh is :\n",
     "\nPhysical sub intf Result is : 0"},
    {InterfaceClass::kBundle, "\nbundle intf verification\npidb_bundle_ifh is :\n",
     "\nBundle intf Result is : 0"},
    {InterfaceClass::kBundleSubif, "\nbundle sub intf verification\npidb_bundle_subifh is :\n",
     "\nBundle intf Result is : 0"},
    {InterfaceClass::kBvi, "\nbvi intf verification\npidb_bvi_ifh is :\n",
     "\nBVI intf Result is : 0"},
    {InterfaceClass::kGre, "\ngre intf verification\npidb_gre_ifh is :\n",
     "\nGRE intf Result is : 0"},
}};

// What stands in the logs of all nodes: the tables, and the interfaces without a key list.
struct Shared {
  std::array<std::vector<std::string>, kSections.size()> tables;  // in pieces
  std::string without_key_list;
};

Shared render_shared(const std::vector<Node>& nodes, unsigned threads, Stage& stage) {
  std::vector<const Node*> sorted;
  sorted.reserve(nodes.size());
  for (const Node& node : nodes) sorted.push_back(&node);
  std::ranges::sort(sorted, {}, &Node::name);
  std::vector<std::string> parts(kSections.size() * sorted.size());
  in_parallel(threads, parts.size(), [&](std::size_t i) {
    const Node& node = *sorted[i % sorted.size()];
    const InterfaceClass intf_class = kSections[i / sorted.size()].intf_class;
    if (node.of(intf_class).table.bytes == 0) return;
    stage.time([&] { parts[i] = render_node(node, intf_class); });
  });

  Shared shared;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    std::vector<std::string>& table = shared.tables[i / sorted.size()];
    if (parts[i].empty()) continue;
    table.emplace_back(table.empty() ? "{" : ",");
    table.push_back(std::move(parts[i]));
  }
  for (std::vector<std::string>& table : shared.tables) {
    table.emplace_back(table.empty() ? "{}\n" : "\n}\n");
  }
  for (const Node& node : nodes) {
    const Interfaces& ports = node.of(InterfaceClass::kPhysical);
    for (std::size_t i = 0; i < ports.key_lists.size(); ++i) {
      if (!ports.key_lists[i].empty()) continue;
      shared.without_key_list += "\nERROR: Key_list not present ";
      append_hexadecimal(shared.without_key_list, ports.table.records[i].name);
    }
  }
  return shared;
}

// Numbers of a PMDB's records in the order of their names, after looking up that every expected
// key is among them and no other.
std::vector<std::uint32_t> compare(const Table& pmdb, const ExpectedKeys& expected) {
  constexpr auto kMissing = static_cast<std::uint32_t>(-1);
  std::vector<std::uint32_t> order(expected.size(), kMissing);
  for (std::uint32_t i = 0; i < pmdb.records.size(); ++i) {
    const std::optional<std::uint32_t> number = expected.number_of(pmdb.records[i].name);
    if (!number) throw std::runtime_error("a key is leaked");
    if (order[*number] != kMissing) throw std::runtime_error("a key stands twice");
    order[*number] = i;
  }
  if (std::ranges::count(order, kMissing) != 0) throw std::runtime_error("a key is missing");
  return order;
}

struct Stages {
  Stage load{"read, validate"};
  Stage number{"number keys"};
  Stage tables{"render tables"};
  Stage compare{"compare"};
  Stage pmdb{"render PMDBs"};
  Stage write{"write"};
};

// Worker lines differ from run to run, so these only have about the length of real ones.
std::string thread_line(const char* begin, const char* state, const char* end) {
  return std::string(begin) + "<Thread(Thread-10, " + state + ")>" + end;
}

void write_log(const std::string& folder, const Node& node, bool is_last, std::size_t nodes,
               const Shared& shared, const std::vector<std::uint32_t>& order, Stages& stages) {
  const std::string path = folder + "/debug_logs_" + node.name + ".txt";
  const UniqueFd log = create_fresh_file(path);
  const auto write = [&](std::string_view text) {
    stages.write.time([&] { write_all(log.get(), text, path); });
  };
  write(thread_line("\nVerify Thread : ", "initial", " on node: ") + node.name);
  for (std::size_t i = 0; i < kSections.size(); ++i) {
    write(kSections[i].heading);
    for (const std::string& piece : shared.tables[i]) write(piece);
    if (i == 0) {
      write("\npmdb_dict is :\n");
      stages.pmdb.time([&] { render_pmdb(node.pmdb, order, write); });
      write(shared.without_key_list);
    }
    write(kSections[i].result);
  }
  write("\nChecking pmdb leaks: \n\ncheck_pmdb_leak Result is : 0\nOverall Result is : 0");
  for (std::size_t i = 0; is_last && i < nodes; ++i) {
    write(thread_line("\nWaiting for pid ", "stopped 140000000000000", " to join \n"));
    write(thread_line("\npid ", "stopped 140000000000000", " joined"));
  }
}

}  // namespace

void run(const std::string& dumps, const std::string& logs, const KeyRules& rules,
         unsigned threads) {
  const Clock::time_point begin = Clock::now();
  Stages stages;
  const std::vector<std::string> names = find_nodes(dumps);
  std::vector<Node> nodes(names.size());
  in_parallel(threads, nodes.size(), [&](std::size_t i) {
    stages.load.time([&] { nodes[i] = load_node(dumps, names[i], rules); });
  });
  const ExpectedKeys expected = stages.number.time([&] { return ExpectedKeys(nodes); });
  const Shared shared = render_shared(nodes, threads, stages.tables);
  in_parallel(threads, nodes.size(), [&](std::size_t i) {
    const std::vector<std::uint32_t> order =
        stages.compare.time([&] { return compare(nodes[i].pmdb, expected); });
    write_log(logs, nodes[i], i + 1 == nodes.size(), nodes.size(), shared, order, stages);
  });
  const std::chrono::duration<double> wall = Clock::now() - begin;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  std::printf("wall %.3f s, CPU %.3f s, peak %.0f MB; by stage, %u threads together:\n",
              wall.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime),
              static_cast<double>(usage.ru_maxrss) * 1024 / 1e6, threads);
  for (const Stage* const stage : {&stages.load, &stages.number, &stages.tables, &stages.compare,
                                   &stages.pmdb, &stages.write}) {
    stage->print();
  }
}

}  // namespace zorbec::floor
