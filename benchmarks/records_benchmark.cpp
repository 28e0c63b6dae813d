// What do frames, messages and indices cost compared with the same work and checks written by hand?
//
// "called" calls handwritten functions, as a daemon calls functions of another of its files; calls of the library go
// through the PLT in addition. "inline" lets the compiler inline them.
#include <benchmark/benchmark.h>

#include "records_work.h"

namespace {

template <typename Work>
void run(benchmark::State& state) {
  Work work;
  for ([[maybe_unused]] auto _ : state) {
    work.step();
  }
  if (!work.is_right()) {
    state.SkipWithError("the records are not what the work should have left");
  }
}

#define SIDES(name, Work, Sides)                                                           \
  BENCHMARK(run<records_work::Work<records_work::Sides##Userlib>>)->Name(name "/userlib"); \
  BENCHMARK(run<records_work::Work<records_work::Sides##Called>>)->Name(name "/called");   \
  BENCHMARK(run<records_work::Work<records_work::Sides##ByHand>>)->Name(name "/inline")

SIDES("frame_reduce_and_expand", ReduceAndExpand, Frame);
SIDES("message_add", AddItems, Message);
SIDES("message_move", MoveItems, Message);
SIDES("index_pool_occupy_and_release", OccupyAndRelease, Pool);
SIDES("index_map_find/60_entries", FindKeys, Map);

}  // namespace
