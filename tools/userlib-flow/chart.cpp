#include "chart.h"

#include <utility>

#include "display.h"

namespace flow_tool {

namespace {

bool is_dump(const Record& record) {
  return record.kind == Kind::kDump || record.kind == Kind::kPlainDump;
}

std::string place_of(const Record& record) {
  return std::string(record.file) + ":" + std::to_string(record.source_line) + " ";
}

std::string module_of(const Record& record) {
  return record.module.empty() ? "" : std::string(record.module) + ": ";
}

std::string label_of(const Record& record) {
  std::string text(record.text);
  switch (record.kind) {
    case Kind::kMessage:
    case Kind::kStatus:
    case Kind::kPlainShort:
      return text;
    case Kind::kLocated:
      return module_of(record) + place_of(record) + text;
    case Kind::kReport:
    case Kind::kPlainLocated:
      return place_of(record) + text;
    case Kind::kDump:
    case Kind::kPlainDump:
      return module_of(record) + text + ": " + std::string(record.hex);
    case Kind::kShort:
    case Kind::kGuiOutput:
    case Kind::kUnregistered:
      break;
  }
  return module_of(record) + text;
}

}  // namespace

bool ChartMaker::joins_last(const Record& record, const std::vector<ChartItem>& items) const {
  return is_dump(record) && !items.empty() && items.back().what == ChartItem::What::kMessage &&
         last_input_ == record.input;
}

void ChartMaker::add_gap(const Record& record, std::vector<ChartItem>& items) {
  if (last_ != kNoTime && record.time != kNoTime && gap_ > 0 && record.time - last_ >= gap_) {
    ChartItem gap;
    gap.what = ChartItem::What::kGap;
    gap.label = span_text(record.time - last_);
    items.push_back(std::move(gap));
  }
  last_ = record.time != kNoTime ? record.time : last_;
}

bool ChartMaker::add(const Record& record, std::vector<ChartItem>& items) {
  if (joins_last(record, items)) {
    items.back().details.push_back(printable(label_of(record)));
    return true;
  }
  ChartItem item;
  if (record.kind == Kind::kMessage) {
    item.what = ChartItem::What::kMessage;
    item.is_received = record.is_received;
    item.from = lanes_.place(record.from, record.from_number);
    item.to = lanes_.place(record.to, record.to_number);
    if (item.from == Lanes::kNone || item.to == Lanes::kNone) {
      return false;
    }
  }
  add_gap(record, items);
  item.time = record.time;
  item.type = record.type;
  item.label = printable(label_of(record));
  item.details.push_back(printable(record.line));
  last_input_ = record.input;
  items.push_back(std::move(item));
  return true;
}

void ChartBuilder::take(const Record& record) {
  if (taken_ == most_ || !maker_.add(record, chart_.items)) {
    ++chart_.left_out;
    return;
  }
  ++taken_;
  chart_.messages += record.kind == Kind::kMessage ? 1 : 0;
}

Chart ChartBuilder::finish() {
  for (const std::string& lane : maker_.lanes()) {
    chart_.lanes.push_back(printable(lane));
  }
  return std::move(chart_);
}

}  // namespace flow_tool
