// Statistics of a log of any length, in constant memory.
#ifndef TOOLS_USERLIB_FLOW_STATISTICS_H
#define TOOLS_USERLIB_FLOW_STATISTICS_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "histogram.h"
#include "lane.h"
#include "merge.h"
#include "record.h"

namespace flow_tool {

// Between two lanes, the first to send makes requests; messages the other way are answers. The next message the other
// way between the same two ends answers a request; if messages begin with the number of a subscriber's line, it must be
// about the same line. A request that is followed by another before its answer stays without one.
class Statistics {
 public:
  // Further ones are counted together, as "others".
  static constexpr size_t kMostLanes = 256;
  static constexpr size_t kMostFlows = 1024;

  explicit Statistics(LaneBy by);

  void take(const Record& record);

  // The statistics as tables. The merge gives the names and line counts of the inputs.
  std::string text(const Merge& merge) const;

 private:
  struct Traffic {
    size_t sent = 0;
    size_t received = 0;
  };
  // A line of an input.
  struct Place {
    size_t input = 0;
    size_t number = 0;
  };
  // Messages of one name from one lane to another, and their answers.
  struct Flow {
    std::string name;
    size_t from;
    size_t to;
    size_t count = 0;
    size_t answered = 0;
    std::unique_ptr<Histogram> latencies;  // from the first answer on
    Time worst = -1;
    Place asked;
    Place answer;
    std::string answer_line;
  };
  // A request without an answer so far. Requests with the same hash share one slot.
  struct Waiting {
    uint64_t key = 0;
    Flow* flow = nullptr;  // null: the slot is free
    Time since = kNoTime;
    Place asked;
  };
  static constexpr size_t kSlots = size_t{1} << 14;

  void take_message(const Record& record);
  Flow* flow_of(size_t from, size_t to, std::string_view message);
  bool is_request(size_t from, size_t to);
  Waiting& slot_of(const Record& record, bool is_request, uint64_t& key);
  void take_answer(const Record& record);
  static void note_latency(Flow& flow, const Waiting& request, const Record& answer);

  std::string lane_name(size_t lane) const;
  std::string print_types() const;
  std::string print_lanes() const;
  std::string print_flows() const;
  std::string print_latencies(const Merge& merge) const;

  Lanes lanes_;
  std::vector<Traffic> traffic_;  // of each lane, and of the others
  std::vector<char> asks_;        // who makes requests, per pair of lanes: 0 unknown, 1 the first, 2 the second
  std::vector<std::unique_ptr<Flow>> flows_;
  std::unordered_map<std::string, Flow*> flow_by_key_;
  std::string wanted_;
  size_t other_messages_ = 0;
  size_t unasked_ = 0;  // answers without a request
  std::vector<Waiting> waiting_;
  std::array<size_t, kTypes + 1> types_ = {};
  Time first_ = kNoTime;
  Time last_ = kNoTime;
};

}  // namespace flow_tool

#endif
