#include "follow.h"

#include <unistd.h>

#include <cstdio>

namespace flow_tool {

namespace {

constexpr useconds_t kPauseMicroseconds = 100'000;

// Keeps only the last item, as a dump may still follow it.
class GrowingChart {
 public:
  GrowingChart(const Options& options, const TextStyle& style)
      : maker_(options.lanes, options.gap), style_(style), drawing_(style, {}) {}

  void take(const Record& record) {
    const size_t lanes = maker_.lanes().size();
    const size_t details = items_.empty() ? 0 : items_.back().details.size();
    const size_t before = items_.size();
    if (!maker_.add(record, items_)) {
      return;
    }
    if (maker_.lanes().size() != lanes) {
      drawing_ = TextChart(style_, maker_.lanes());
      print(drawing_.head());
    }
    for (size_t i = before; i < items_.size(); ++i) {
      print(drawing_.row(items_[i]));
    }
    if (items_.size() == before && details < items_.back().details.size()) {
      ChartItem dump;
      dump.type = NUV_SYSLOGLEVEL_DUMP;
      dump.label = items_.back().details.back();
      print(drawing_.row(dump));
      items_.back().details.pop_back();
    }
    items_.erase(items_.begin(), items_.end() - 1);
  }

 private:
  static void print(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stdout); }

  ChartMaker maker_;
  TextStyle style_;
  TextChart drawing_;
  std::vector<ChartItem> items_;
};

}  // namespace

bool follow(Merge& merge, const Options& options, const TextStyle& style) {
  GrowingChart chart(options, style);
  Selection selection(options.choice, [&chart](const Record& record) { chart.take(record); });
  const bool is_stdin = merge.inputs().front().name() == "-";
  while (!selection.is_complete()) {
    const Record* record = merge.next(Input::End::kStay);
    if (record != nullptr) {
      selection.take(*record);
      // The next read of standard input may block, so flush each row first.
      if (!is_stdin) {
        continue;
      }
    }
    if (std::fflush(stdout) != 0) {
      return false;
    }
    if (record == nullptr) {
      if (is_stdin) {
        break;
      }
      usleep(kPauseMicroseconds);
      merge.reopen_rotated();
    }
  }
  return std::fflush(stdout) == 0;
}

}  // namespace flow_tool
