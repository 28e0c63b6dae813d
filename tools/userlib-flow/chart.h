// A sequence chart, whichever way it is drawn: who takes part, and what happened one after the other.
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
  bool is_received = false;  // a message that its writer got, else one that it sent
  size_t from = 0;           // lanes of a message
  size_t to = 0;
  std::string label;                 // the message, the note, or how long nothing happened
  std::vector<std::string> details;  // the whole line, and those of a dump that belongs to it
};

struct Chart {
  std::vector<std::string> lanes;  // in order of their first use
  std::vector<ChartItem> items;
  size_t messages = 0;
  size_t left_out = 0;  // records for which there was no room
};

// Makes records into items one by one.
class ChartMaker {
 public:
  // As many lanes as anybody can look at.
  static constexpr size_t kMostLanes = 64;

  // A gap is a time of at least so long in which nothing happened.
  ChartMaker(LaneBy by, Time gap) : lanes_(by, kMostLanes), gap_(gap) {}

  // Adds a gap, if there is one, and the record's item, or the dump to the item that it belongs to. Returns false, and adds
  // nothing, if there is no lane for the record any more.
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

// A chart that holds so many records at most; those behind them are counted.
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
