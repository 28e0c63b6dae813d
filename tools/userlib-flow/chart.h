// A sequence chart in any output format: the lanes, and the items in order.
#ifndef TOOLS_USERLIB_FLOW_CHART_H
#define TOOLS_USERLIB_FLOW_CHART_H

#include <cstdint>
#include <string>
#include <vector>

#include "lane.h"
#include "record.h"

namespace flow_tool {

struct ChartItem {
  enum class What : uint8_t { kMessage, kNote, kGap };

  What what = What::kNote;
  Time time = kNoTime;
  Type type = kNoType;
  bool is_received = false;  // a message that its writer received, else one that it sent
  size_t from = 0;           // lanes of a message
  size_t to = 0;
  std::string label;                 // the message, the note, or the length of the gap
  std::vector<std::string> details;  // the whole line, and the lines of its dump
};

struct Chart {
  std::vector<std::string> lanes;  // in order of their first use
  std::vector<ChartItem> items;
  size_t messages = 0;
  size_t left_out = 0;  // records beyond the limit
};

// Turns records into items one by one.
class ChartMaker {
 public:
  // More lanes would be unreadable.
  static constexpr size_t kMostLanes = 64;

  // A gap is a time in which nothing happened for at least this long.
  ChartMaker(LaneBy by, Time gap) : lanes_(by, kMostLanes), gap_(gap) {}

  // Adds a gap, if there is one, and the record's item, or a dump to the item that it belongs to. Returns false, and
  // adds nothing, if there is no lane left for the record.
  bool add(const Record& record, std::vector<ChartItem>& items);

  const std::vector<std::string>& lanes() const { return lanes_.names(); }

 private:
  bool joins_last(const Record& record, const std::vector<ChartItem>& items) const;
  void add_gap(const Record& record, std::vector<ChartItem>& items);

  Lanes lanes_;
  Time gap_;
  Time last_ = kNoTime;
  size_t last_input_ = 0;
};

// A chart of at most this many records; further ones are only counted.
class ChartBuilder {
 public:
  ChartBuilder(LaneBy by, Time gap, size_t most) : maker_(by, gap), most_(most) {}

  void take(const Record& record);
  Chart finish();

 private:
  ChartMaker maker_;
  size_t most_;
  size_t taken_ = 0;
  Chart chart_;
};

}  // namespace flow_tool

#endif
