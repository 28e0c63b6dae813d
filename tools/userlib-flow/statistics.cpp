#include "statistics.h"

#include <algorithm>
#include <functional>
#include <tuple>
#include <utility>

#include "display.h"
#include "table.h"

namespace flow_tool {

namespace {

uint64_t mix(uint64_t hash, uint64_t value) {
  constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;
  hash ^= value + kOdd + (hash << 6) + (hash >> 2);
  return hash * kOdd;
}

uint64_t hash_of(std::string_view text) {
  return std::hash<std::string_view>()(text);
}

// The same for both directions of a conversation.
uint64_t conversation_of(const Record& record, bool is_request) {
  const auto [asking, asked] =
      is_request ? std::pair(&Record::from, &Record::to) : std::pair(&Record::to, &Record::from);
  const uint32_t asking_number = is_request ? record.from_number : record.to_number;
  const uint32_t asked_number = is_request ? record.to_number : record.from_number;
  uint64_t hash = mix(hash_of(record.*asking), hash_of(record.*asked));
  hash = mix(hash, uint64_t{asking_number} << 32 | asked_number);
  hash = mix(hash, hash_of(subject_of_message(record.text)));
  return mix(hash, hash_of(record.ident) + record.pid);
}

}  // namespace

Statistics::Statistics(LaneBy by)
    : lanes_(by, kMostLanes), traffic_(kMostLanes + 1), asks_(kMostLanes * kMostLanes), waiting_(kSlots) {}

Statistics::Flow* Statistics::flow_of(size_t from, size_t to, std::string_view message) {
  wanted_.clear();
  wanted_ += static_cast<char>(from);
  wanted_ += static_cast<char>(to);
  wanted_ += name_of_message(message);
  const auto found = flow_by_key_.find(wanted_);
  if (found != flow_by_key_.end()) {
    return found->second;
  }
  if (flows_.size() == kMostFlows) {
    return nullptr;
  }
  flows_.push_back(std::make_unique<Flow>());
  Flow& flow = *flows_.back();
  flow.name = name_of_message(message);
  flow.from = from;
  flow.to = to;
  return flow_by_key_.emplace(wanted_, &flow).first->second;
}

bool Statistics::is_request(size_t from, size_t to) {
  char& who = asks_[std::min(from, to) * kMostLanes + std::max(from, to)];
  const char speaker = from <= to ? 1 : 2;
  if (who == 0) {
    who = speaker;
  }
  return who == speaker;
}

Statistics::Waiting& Statistics::slot_of(const Record& record, bool is_request, uint64_t& key) {
  key = conversation_of(record, is_request);
  return waiting_[key >> 32 & (kSlots - 1)];
}

void Statistics::note_latency(Flow& flow, const Waiting& request, const Record& answer) {
  // The clock may have been set back between request and answer.
  const Time latency = std::max<Time>(answer.time - request.since, 0);
  if (!flow.latencies) {
    flow.latencies = std::make_unique<Histogram>();
  }
  flow.latencies->add(static_cast<uint64_t>(latency));
  if (latency > flow.worst) {
    flow.worst = latency;
    flow.asked = request.asked;
    flow.answer = {answer.input, answer.number};
    flow.answer_line = answer.line;
  }
}

void Statistics::take_answer(const Record& record) {
  uint64_t key = 0;
  Waiting& waiting = slot_of(record, /*is_request=*/false, key);
  if (waiting.flow == nullptr || waiting.key != key) {
    ++unasked_;
    return;
  }
  ++waiting.flow->answered;
  if (waiting.since != kNoTime && record.time != kNoTime) {
    note_latency(*waiting.flow, waiting, record);
  }
  waiting.flow = nullptr;
}

void Statistics::take_message(const Record& record) {
  const size_t from = std::min(lanes_.place(record.from, record.from_number), kMostLanes);
  const size_t to = std::min(lanes_.place(record.to, record.to_number), kMostLanes);
  ++traffic_[from].sent;
  ++traffic_[to].received;
  Flow* flow = from < kMostLanes && to < kMostLanes ? flow_of(from, to, record.text) : nullptr;
  if (flow == nullptr) {
    ++other_messages_;
    return;
  }
  ++flow->count;
  if (!is_request(from, to)) {
    take_answer(record);
    return;
  }
  uint64_t key = 0;
  Waiting& waiting = slot_of(record, /*is_request=*/true, key);
  waiting = {key, flow, record.time, {record.input, record.number}};
}

void Statistics::take(const Record& record) {
  ++types_[record.type];
  if (record.time != kNoTime) {
    first_ = first_ == kNoTime ? record.time : std::min(first_, record.time);
    last_ = std::max(last_, record.time);
  }
  if (record.kind == Kind::kMessage) {
    take_message(record);
  }
}

std::string Statistics::lane_name(size_t lane) const {
  return lane < lanes_.names().size() ? printable(lanes_.names()[lane]) : "others";
}

std::string Statistics::print_types() const {
  std::vector<Row> rows = {{"type", "lines"}};
  for (Type type = 0; type <= kTypes; ++type) {
    if (types_[type] > 0) {
      rows.push_back({type < kTypes ? NUV_ESysloglevelType_name(type) : "none", with_commas(types_[type])});
    }
  }
  return print_table(rows, 1);
}

std::string Statistics::print_lanes() const {
  std::vector<Row> rows = {{"lane", "sent", "received"}};
  for (size_t lane = 0; lane <= kMostLanes; ++lane) {
    if (traffic_[lane].sent + traffic_[lane].received > 0) {
      rows.push_back({lane_name(lane), with_commas(traffic_[lane].sent), with_commas(traffic_[lane].received)});
    }
  }
  return print_table(rows, 2);
}

std::string Statistics::print_flows() const {
  std::vector<Row> rows = {{"message", "from", "to", "count", "answered"}};
  for (const auto& flow : flows_) {
    const bool asks = asks_[std::min(flow->from, flow->to) * kMostLanes + std::max(flow->from, flow->to)] ==
                      (flow->from <= flow->to ? 1 : 2);
    rows.push_back({printable(flow->name), lane_name(flow->from), lane_name(flow->to), with_commas(flow->count),
                    asks ? with_commas(flow->answered) : ""});
  }
  if (other_messages_ > 0) {
    rows.push_back({"others", "", "", with_commas(other_messages_), ""});
  }
  return print_table(rows, 2);
}

std::string Statistics::print_latencies(const Merge& merge) const {
  constexpr double kNinetyNine = 0.99;
  std::vector<Row> rows = {{"request", "from", "to", "answers", "p50", "p99", "worst"}};
  std::string worst;
  const auto place = [&merge](const Place& line) {
    return printable(merge.inputs()[line.input].name()) + ":" + std::to_string(line.number);
  };
  for (const auto& flow : flows_) {
    if (!flow->latencies) {
      continue;
    }
    const auto quantile = [&flow](double part) {
      return span_text(std::min(static_cast<Time>(flow->latencies->quantile(part)), flow->worst));
    };
    rows.push_back({printable(flow->name), lane_name(flow->from), lane_name(flow->to),
                    with_commas(flow->latencies->count()), quantile(0.5), quantile(kNinetyNine),
                    span_text(flow->worst)});
    worst += "worst " + printable(flow->name) + ", " + lane_name(flow->from) + " to " + lane_name(flow->to) +
             ": asked " + place(flow->asked) + ", answered " + place(flow->answer) + "\n  " +
             printable(flow->answer_line) + "\n";
  }
  if (rows.size() == 1) {
    return {};
  }
  const std::string unasked =
      unasked_ > 0 ? with_commas(unasked_) + (unasked_ == 1 ? " answer" : " answers") + " without a request\n" : "";
  return "\n" + print_table(rows, 4) + unasked + "\n" + worst;
}

std::string Statistics::text(const Merge& merge) const {
  std::string text = merge.counts().text() + "\n";
  if (first_ != kNoTime) {
    text += "from " + date_text(first_) + " to " + date_text(last_) + "\n";
  }
  text += "\n" + print_types();
  if (!flows_.empty() || other_messages_ > 0) {
    text += "\n" + print_lanes() + "\n" + print_flows() + print_latencies(merge);
  }
  return text;
}

}  // namespace flow_tool
