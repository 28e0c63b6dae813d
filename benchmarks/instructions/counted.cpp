// Repeats one operation, so that scripts/instructions can count its instructions: counted QUESTION TIMES.
//
// Nothing here depends on the machine, the time or the load: clocks tick each time they are read, and ready descriptors
// stay ready. Exits with 1 if the work has a wrong result, with 2 if the arguments are wrong.
#include <fcntl.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../bare_loop.h"
#include "../dial_plan.h"
#include "../records_work.h"
#include "nuv_digitmap.h"
#include "nuv_select.h"
#include "nuv_sysloglevel.h"

// ---- A reproducible machine: the library calls these instead of the C library's functions ----

namespace {

constexpr long kMillisecond = 1000000;  // in nanoseconds
timespec g_now = {1000, 0};

}  // namespace

extern "C" int clock_gettime(clockid_t /*clock*/, timespec* now) noexcept {
  g_now.tv_nsec += kMillisecond;
  if (g_now.tv_nsec >= 1000 * kMillisecond) {
    g_now.tv_nsec -= 1000 * kMillisecond;
    ++g_now.tv_sec;
  }
  *now = g_now;
  return 0;
}

// Always the same second, so that its date is computed once.
extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept {
  *now = {1700000000, 42000};
  return 0;
}

// /etc/quiet does not exist.
extern "C" int access(const char* /*path*/, int /*mode*/) noexcept {
  return -1;
}

namespace {

using records_work::called;
using records_work::opaque;

void fail(const char* what) {
  std::fprintf(stderr, "counted: %s\n", what);
  std::exit(1);
}

// The empty loop, which is subtracted from all others.
void nothing(uint32_t times) {
  for (uint32_t i = 0; i < times; ++i) {
    opaque(i);
  }
}

template <typename Work>
void records(uint32_t times) {
  Work work;
  for (uint32_t i = 0; i < times; ++i) {
    work.step();
  }
  if (!work.is_right()) {
    fail("the records are not what the work should have left");
  }
}

// ---- Events ----

uint32_t g_calls = 0;

int32_t on_ready(void*, int32_t, uint32_t) {
  ++g_calls;
  return 0;
}

int32_t on_far_timer(void*, timeval*, uint32_t) {
  return 1;
}

// The read ends of pipes, of which the highest is ready.
std::vector<int> open_descriptors(int count) {
  constexpr int kLowest = 32;
  int idle[2];
  int ready[2];
  if (pipe(idle) != 0 || pipe(ready) != 0 || write(ready[1], "x", 1) != 1) {
    fail("no pipes");
  }
  std::vector<int> fds;
  for (int i = 0; i < count; ++i) {
    fds.push_back(fcntl(i + 1 < count ? idle[0] : ready[0], F_DUPFD, kLowest));
  }
  return fds;
}

constexpr int kFarSeconds = 1000;

template <int kDescriptors, int kTimers>
void events(uint32_t times) {
  static Select reactor;
  NUV_Select_construct(&reactor);
  for (const int fd : open_descriptors(kDescriptors)) {
    NUV_Select_setReadExternal(&reactor, fd, nullptr, 0, on_ready);
  }
  for (int i = 0; i < kTimers; ++i) {
    NUV_Select_setTimeout(&reactor, {kFarSeconds + i, 0}, nullptr, 0, on_far_timer);
  }
  for (uint32_t i = 0; i < times; ++i) {
    NUV_Select_process(&reactor, nullptr);
  }
  if (g_calls != times) {
    fail("not every turn had its event");
  }
}

template <int kDescriptors, int kTimers>
void bare_events(uint32_t times) {
  BareLoop loop(open_descriptors(kDescriptors), -1, kTimers, kFarSeconds, on_ready);
  uint64_t due = 0;
  for (uint32_t i = 0; i < times; ++i) {
    due += loop.turn();
  }
  if (g_calls != times || due != 0) {
    fail("not every turn had its event");
  }
}

// ---- Timers ----

constexpr uint32_t kTimers = NUV_TIMEOUTSET_SIZE - 1;  // no timer can be removed from a full set

// Unordered delays.
timeval delay(uint32_t i) {
  return {static_cast<time_t>(1000 + i * 37 % kTimers), 0};
}

enum Depth { kRestarted, kArmed, kUpdated, kRemoved };

// Arms a reactor's timers, changes their delays, and removes them, as far as kDepth says.
template <Depth kDepth>
void timers(uint32_t times) {
  static Select reactor;
  NUV_Select_construct(&reactor);
  std::array<uint32_t, kTimers> ids = {};
  for (uint32_t i = 0; i < times; ++i) {
    NUV_TimeoutSet_destruct(&reactor.m_oTimeout);
    NUV_TimeoutSet_construct(&reactor.m_oTimeout);
    for (uint32_t j = 0; j < kTimers && kDepth >= kArmed; ++j) {
      ids[j] = NUV_Select_setTimeout(&reactor, delay(j), nullptr, 0, on_far_timer);
    }
    for (uint32_t j = 0; j < kTimers && kDepth >= kUpdated; ++j) {
      NUV_Select_updateTimeout(&reactor, ids[j * 23 % kTimers], delay(kTimers - j));
    }
    for (uint32_t j = 0; j < kTimers && kDepth >= kRemoved; ++j) {
      NUV_Select_removeTimeout(&reactor, ids[j * 23 % kTimers]);
    }
  }
  const uint32_t left = kDepth == kArmed || kDepth == kUpdated ? kTimers : 0;
  if (reactor.m_oTimeout.m_uCount != left) {
    fail("another number of timers is left");
  }
}

// The same with an array, where each timer is found by its index.
template <Depth kDepth>
void bare_timers(uint32_t times) {
  static std::array<NUV_TimeoutRecv, kTimers> array;
  uint32_t count = 0;
  for (uint32_t i = 0; i < times; ++i) {
    count = opaque(0U);
    for (uint32_t j = 0; j < kTimers && kDepth >= kArmed; ++j) {
      *opaque(&array[count]) = {delay(j), nullptr, 0, 0, on_far_timer, count, 0};
      ++count;
    }
    for (uint32_t j = 0; j < kTimers && kDepth >= kUpdated; ++j) {
      opaque(&array[j * 23 % kTimers])->m_oTime = delay(kTimers - j);
    }
    for (uint32_t j = 0; j < kTimers && kDepth >= kRemoved; ++j) {
      opaque(&array[j * 23 % kTimers])->m_pRecvFunc = nullptr;
      --count;
    }
  }
  if (opaque(count) > kTimers) {
    fail("another number of timers is left");
  }
}

constexpr timeval kPeriod = {0, 20000};

int32_t on_period(void*, timeval* time, uint32_t) {
  ++g_calls;
  *time = kPeriod;
  return 1;
}

void process_all(TimeoutSet& set, const timeval& elapsed) {
  NUV_TimeoutSet_process(&set, NUV_TIMEOUT_UNLIMITED, &elapsed);
}

// All timers expire in the same turn, and rearm themselves.
template <auto kProcess>
void expiries(uint32_t times) {
  TimeoutSet set;
  NUV_TimeoutSet_construct(&set);
  for (uint32_t i = 0; i < NUV_TIMEOUTSET_SIZE; ++i) {
    NUV_TimeoutSet_setReceiver(&set, kPeriod, nullptr, i, 0, on_period);
  }
  for (uint32_t i = 0; i < times; ++i) {
    called<kProcess, TimeoutSet&, const timeval&>(set, kPeriod);
  }
  if (g_calls != times * NUV_TIMEOUTSET_SIZE) {
    fail("not all timers have fired once per turn");
  }
}

// ---- Traces ----

int g_module;

void register_module(uint32_t mask) {
  NUV_Sysloglevel_construct("");
  g_module = NUV_Sysloglevel_registerModul("Line");
  NUV_Sysloglevel_changeTracelevel("Line", mask);
  NUV_Sysloglevel_set(0);
}

void suppressed(uint32_t times) {
  register_module(NUV_SYSLOGLEVEL_DEFAULT_MASK);
  for (uint32_t i = 0; i < times; ++i) {
    NUV_LOG_DEBUG(g_module, "off hook, %u waits for the first digit", i);
  }
}

std::array<uint32_t, NUV_SYSLOGLEVEL_MODULES> g_masks = {NUV_SYSLOGLEVEL_DEFAULT_MASK};

bool is_wanted(int module, uint32_t type) {
  return (g_masks[static_cast<size_t>(module)] >> type & 1U) != 0;
}

// A function that tests the mask of a module.
void bare_suppressed(uint32_t times) {
  for (uint32_t i = 0; i < times; ++i) {
    if (called<is_wanted>(opaque(g_module), uint32_t{NUV_SYSLOGLEVEL_DEBUG})) {
      std::printf("off hook, %u waits for the first digit", i);
    }
  }
}

constexpr char kText[] = "off hook, 4711 waits for the first digit";

void lines(uint32_t times) {
  register_module(1U << NUV_SYSLOGLEVEL_DEBUG);
  for (uint32_t i = 0; i < times; ++i) {
    NUV_Sysloglevel_debug(g_module, "card.c", 100, kText);
  }
}

// Prints such a line, with a date computed before.
void bare_lines(uint32_t times) {
  for (uint32_t i = 0; i < times; ++i) {
    std::printf("%s:%03u:debug:%s: %s:%u   %s\n", opaque("Nov 14 22:13:20"), 42U, opaque("Line"), opaque("card.c"),
                100U, opaque(kText));
  }
}

// ---- A dial plan ----

constexpr size_t kPatterns = 100;

// Whether the first symbol of a pattern takes a digit, and the length of the symbol.
bool takes(const char* symbol, char digit, size_t& length) {
  if (*symbol == '[') {
    length = 5;
    return symbol[1] <= digit && digit <= symbol[3];
  }
  length = 1;
  return *symbol == 'x' || *symbol == digit;
}

// The obvious way: symbol by symbol. 2 is complete, 1 needs more digits, 0 is no match.
int match(const char* pattern, const char* dialled) {
  while (*pattern != '\0' && *pattern != 'T') {
    size_t length = 0;
    if (*dialled == '\0') {
      return 1;
    }
    const bool is_taken = takes(pattern, *dialled, length);
    if (pattern[length] == '.') {
      // In these plans only T follows a repetition.
      while (takes(pattern, *dialled, length) && *dialled != '\0') {
        ++dialled;
      }
      return *dialled == '\0' ? 1 : 0;
    }
    if (!is_taken) {
      return 0;
    }
    pattern += length;
    ++dialled;
  }
  return *pattern == 'T' ? (*dialled == '\0' ? 1 : 0) : *dialled == '\0' ? 2 : 0;
}

// The first complete pattern decides; otherwise any that can still become complete.
int first_match(const Texts& plan, const char* dialled) {
  int best = 0;
  for (const std::string& pattern : plan) {
    best = std::max(best, match(pattern.c_str(), dialled));
    if (best == 2) {
      break;
    }
  }
  return best;
}

size_t complete_by_hand(const Texts& plan, const Texts& questions) {
  const auto is_complete = [&](const std::string& question) { return first_match(plan, question.c_str()) == 2; };
  return static_cast<size_t>(std::count_if(questions.begin(), questions.end(), is_complete));
}

template <int32_t kMode>
void digits(uint32_t times) {
  const Texts plan = make_plan(kPatterns);
  const Texts questions = make_questions(plan);
  DigitMap map;
  NUV_DigitMap_construct(&map);
  NUV_DigitMap_setMap(&map, join(plan, "|").c_str());
  std::array<char, 32> found;
  size_t complete = 0;
  for (uint32_t i = 0; i < times; ++i) {
    for (const std::string& question : questions) {
      const int32_t result = NUV_DigitMap_checkDialString(&map, kMode, question.c_str(), 0, found.data(), found.size());
      complete += result == NUV_DIGITMAP_COMPLETE ? 1 : 0;
    }
  }
  NUV_DigitMap_destruct(&map);
  // Where first match decides, best match may have to wait.
  const size_t expected = times * complete_by_hand(plan, questions);
  if (kMode == NUV_DIGITMAP_FIRST_MATCH ? complete != expected : complete == 0 || complete > expected) {
    fail("the count of complete numbers differs from that by hand");
  }
}

void bare_digits(uint32_t times) {
  const Texts plan = make_plan(kPatterns);
  const Texts questions = make_questions(plan);
  for (uint32_t i = 0; i < times; ++i) {
    if (complete_by_hand(*opaque(&plan), questions) == 0) {
      fail("no number is complete");
    }
  }
}

using namespace records_work;

struct Question {
  const char* name;
  void (*run)(uint32_t times);
};

constexpr Question kQuestions[] = {
    {"nothing", nothing},
    {"event/userlib", events<1, 0>},
    {"event/by_hand", bare_events<1, 0>},
    {"event_of_100/userlib", events<100, 0>},
    {"event_of_100/by_hand", bare_events<100, 0>},
    {"event_with_79_timers/userlib", events<1, kTimers>},
    {"event_with_79_timers/by_hand", bare_events<1, kTimers>},
    {"restart/userlib", timers<kRestarted>},
    {"restart/by_hand", bare_timers<kRestarted>},
    {"arm/userlib", timers<kArmed>},
    {"arm/by_hand", bare_timers<kArmed>},
    {"update/userlib", timers<kUpdated>},
    {"update/by_hand", bare_timers<kUpdated>},
    {"remove/userlib", timers<kRemoved>},
    {"remove/by_hand", bare_timers<kRemoved>},
    {"expiry/userlib", expiries<process_all>},
    {"expiry/by_hand", expiries<scan_timers>},
    {"suppressed_trace/userlib", suppressed},
    {"suppressed_trace/by_hand", bare_suppressed},
    {"trace_line/userlib", lines},
    {"trace_line/by_hand", bare_lines},
    {"digit_first_match/userlib", digits<NUV_DIGITMAP_FIRST_MATCH>},
    {"digit_first_match/by_hand", bare_digits},
    {"digit_best_match/userlib", digits<NUV_DIGITMAP_BEST_MATCH>},
    {"frame/userlib", records<ReduceAndExpand<FrameUserlib>>},
    {"frame/by_hand", records<ReduceAndExpand<FrameCalled>>},
    {"message_add/userlib", records<AddItems<MessageUserlib>>},
    {"message_add/by_hand", records<AddItems<MessageCalled>>},
    {"message_move/userlib", records<MoveItems<MessageUserlib>>},
    {"message_move/by_hand", records<MoveItems<MessageCalled>>},
    {"index_pool/userlib", records<OccupyAndRelease<PoolUserlib>>},
    {"index_pool/by_hand", records<OccupyAndRelease<PoolCalled>>},
    {"index_map/userlib", records<FindKeys<MapUserlib>>},
    {"index_map/by_hand", records<FindKeys<MapCalled>>},
};

}  // namespace

int main(int argc, char** argv) {
  const auto times = argc == 3 ? static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)) : 0;
  for (const Question& each : kQuestions) {
    if (times != 0 && std::strcmp(each.name, argv[1]) == 0) {
      each.run(times);
      return 0;
    }
  }
  std::fprintf(stderr, "usage: counted QUESTION TIMES\n");
  return 2;
}
