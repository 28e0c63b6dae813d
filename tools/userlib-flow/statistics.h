// Numbers of a log of any length, in memory that does not grow with it.
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

// Who speaks first between two lanes asks; what he says are requests, what comes back are answers. A request is answered
// by the next message that goes the other way between the same two ends, and, where messages begin with the number of a
// subscriber's line, about the same line. Where a request follows another that has no answer, the latter stays without.
class Statistics {
 public:
  // What there is more of is counted together, as "others".
  static constexpr size_t kMostLanes = 256;
  static constexpr size_t kMostFlows = 1024;

  explicit Statistics(LaneBy by);

  void take(const Record& record);

  // All of it as tables. The merge names the inputs, and tells what became of their lines.
  std::string text(const Merge& merge) const;

 private:
  struct Traffic {
    size_t sent = 0;
    size_t received = 0;
  };
  // A line, by its input and its number there.
  struct Place {
    size_t input = 0;
    size_t number = 0;
  };
  // Messages of one name from one lane to another, and the answers to them.
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
  // A request without an answer so far. There is one slot for all requests with the same hash.
  struct Waiting {
    uint64_t key = 0;
    Flow* flow = nullptr;  // null: nobody waits
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
  std::vector<char> asks_;        // who asks, for each pair of lanes: 0 nobody yet, 1 the first, 2 the second
  std::vector<std::unique_ptr<Flow>> flows_;
  std::unordered_map<std::string, Flow*> flow_by_key_;
  std::string wanted_;
  size_t other_messages_ = 0;
  size_t unasked_ = 0;  // answers to nothing
  std::vector<Waiting> waiting_;
  std::array<size_t, kTypes + 1> types_ = {};
  Time first_ = kNoTime;
  Time last_ = kNoTime;
};

}  // namespace flow_tool

#endif
