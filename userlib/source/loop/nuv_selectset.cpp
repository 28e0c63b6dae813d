// The membership assertion below is part of the behaviour in every kind of build.
#undef NDEBUG

#include "nuv_selectset.h"

#include <iterator>
#include <type_traits>

#include <assert.h>
#include <stdlib.h>

#include "core/contract.h"
#include "loop/nuv_selectset_internal.h"

namespace {

constexpr char kFamily[] = "nuv_selectset";

constexpr uint32_t kCapacity = NUV_SELECTSET_SIZE;

using Word = std::remove_extent_t<decltype(fd_set::fds_bits)>;
using Bits = std::make_unsigned_t<Word>;

constexpr uint32_t kBitsPerWord = 8 * sizeof(Word);
constexpr uint32_t kAll = UINT32_MAX;

// The fd_set macros index an array without a test, or call a function that aborts in fortified builds. Here every
// descriptor passes this test before, so that the words can be used as they are.
bool fits(int32_t fd) {
  return static_cast<uint32_t>(fd) < FD_SETSIZE;
}

size_t word_of(int32_t fd) {
  return static_cast<uint32_t>(fd) / kBitsPerWord;
}

Bits bit_of(int32_t fd) {
  return Bits{1} << (static_cast<uint32_t>(fd) % kBitsPerWord);
}

bool is_ready(const NUV_SelectRecv& receiver, const fd_set& ready) {
  return fits(receiver.m_iFd) &&
         (static_cast<Bits>(ready.fds_bits[word_of(receiver.m_iFd)]) & bit_of(receiver.m_iFd)) != 0;
}

uint32_t count(const fd_set& ready) {
  uint32_t total = 0;
  for (const Word word : ready.fds_bits) {
    for (auto bits = static_cast<Bits>(word); bits != 0; bits &= bits - 1) {
      ++total;
    }
  }
  return total;
}

// What m_bDeleted holds in the record of a receiver that has been taken out of the set. If a dispatch walks over the list
// then, the record stays in it until a later purge, without a descriptor, and does not count.
constexpr uint8_t kGone = 2;
constexpr int32_t kNoDescriptor = INT32_MIN;

bool has_room(const SelectSet& set) {
  return set.m_uCount < kCapacity;
}

NUV_SelectRecv* find(const SelectSet& set, int32_t fd) {
  NUV_SelectRecv* receiver = set.m_pFirst;
  while (receiver != nullptr && (receiver->m_iFd != fd || receiver->m_bDeleted == kGone)) {
    receiver = receiver->m_pNext;
  }
  return receiver;
}

NUV_SelectRecv* add(SelectSet& set) {
  auto* receiver = static_cast<NUV_SelectRecv*>(malloc(sizeof(NUV_SelectRecv)));
  if (receiver != nullptr) {
    *receiver = {};
    receiver->m_pNext = set.m_pFirst;
    set.m_pFirst = receiver;
    ++set.m_uCount;
  }
  return receiver;
}

void take_out(SelectSet& set, NUV_SelectRecv& receiver) {
  if (receiver.m_bDeleted != kGone) {
    receiver.m_bDeleted = kGone;
    receiver.m_iFd = kNoDescriptor;
    --set.m_uCount;
  }
}

// Frees the receiver that the link points at; the link then points at the next one.
void unlink(NUV_SelectRecv** link) {
  NUV_SelectRecv* receiver = *link;
  *link = receiver->m_pNext;
  free(receiver);
}

// A set that does not hold the receiver is damaged beyond repair, even if the error handler returns. Text, file, line and
// function are those that field reports of this failure have always had.
[[noreturn, gnu::cold]] void fail_membership() {
  __assert_fail(
      "*_p_!=((void *)0) && \"element is not member of the container, use DELETE_IF_MEMBER instead\"!=((void *)0)",
      "platform/iad/user/userlib/source/nuv_selectset", 58, "NUV_SelectSet_internalRemove");
}

void remove_now(SelectSet& set, const NUV_SelectRecv* a_selectrecv) {
  NUV_REQUIRE(((void *)0) != a_selectrecv);
  --set.m_uCount;
  NUV_SelectRecv** link = &set.m_pFirst;
  while (*link != nullptr && *link != a_selectrecv) {
    link = &(*link)->m_pNext;
  }
  if (*link == nullptr) {
    fail_membership();
  }
  unlink(link);
}

void mark_removed(NUV_SelectRecv* receiver) {
  if (receiver != nullptr) {
    receiver->m_bDeleted = 1;
  }
}

void fire(const NUV_SelectRecv& receiver) {
  // A returning error handler may have let in a receiver without a callback.
  if (receiver.m_pRecvFunc != nullptr) {
    receiver.m_pRecvFunc(receiver.m_pArg1, receiver.m_iFd, receiver.m_uArg2);
  }
}

// Walks the list until it has met to_meet receivers whose descriptors are ready, removed ones included.
uint32_t fire_ready(SelectSet& set, uint32_t budget, const fd_set& ready, uint32_t to_meet) {
  // A dispatch inside a dispatch must not end the outer one: no record may be freed while that one still walks the
  // list.
  const uint8_t processing = set.m_bProcessing;
  set.m_bProcessing = 1;
  uint32_t fired = 0;
  const NUV_SelectRecv* next = nullptr;
  for (const NUV_SelectRecv* receiver = set.m_pFirst; receiver != nullptr && to_meet != 0; receiver = next) {
    next = receiver->m_pNext;
    if (!is_ready(*receiver, ready)) {
      continue;
    }
    --to_meet;
    if (receiver->m_bDeleted == 0 && budget != 0) {
      fire(*receiver);
      ++fired;
    }
  }
  set.m_bProcessing = processing;
  return fired;
}

}  // namespace

void nuv::fill_fd_set(const SelectSet& set, fd_set& asked) {
  for (const NUV_SelectRecv* receiver = set.m_pFirst; receiver != nullptr; receiver = receiver->m_pNext) {
    if (fits(receiver->m_iFd)) {
      Word& word = asked.fds_bits[word_of(receiver->m_iFd)];
      word = static_cast<Word>(static_cast<Bits>(word) | bit_of(receiver->m_iFd));
    }
  }
}

uint32_t nuv::dispatch_fd_set(SelectSet& set, uint32_t budget, const fd_set& ready) {
  if (set.m_pFirst == nullptr) {
    return 0;
  }
  // Walking a short list takes less time than counting the bits; for others, docs/decisions/speed.md has the figures.
  const bool is_short = set.m_uCount <= std::size(ready.fds_bits);
  return fire_ready(set, budget, ready, is_short ? kAll : count(ready));
}

int32_t NUV_SelectSet_construct(SelectSet* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  *a_this = {};
  return 1;
}

void NUV_SelectSet_destruct(SelectSet* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_SelectRecv* receiver = a_this->m_pFirst;
  while (receiver != nullptr) {
    unlink(&receiver);
  }
}

int32_t NUV_SelectSet_available(const SelectSet* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return has_room(*a_this) ? 1 : 0;
}

NUV_SelectRecv* NUV_SelectSet_setReceiver(SelectSet* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                          uint8_t a_temp, NUV_SelectRecvFunc a_recvfunc) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_recvfunc != nullptr, "((void *)0) != a_recvfunc");
  NUV_REQUIRE_TEXT(has_room(*a_this), "NUV_SelectSet_available( a_this) == 1");
  NUV_SelectRecv* receiver = find(*a_this, a_fd);
  if (receiver == nullptr) {
    receiver = add(*a_this);
  }
  if (receiver == nullptr) {
    return nullptr;
  }
  *receiver = {a_fd, a_arg1, a_arg2, a_temp, /*m_bDeleted=*/0, a_recvfunc, receiver->m_pNext};
  return receiver;
}

void NUV_SelectSet_removeReceiver(SelectSet* a_this, int32_t a_fd) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_SelectRecv* pTmpRecv = find(*a_this, a_fd);
  NUV_CHECK(((void *)0) != pTmpRecv);
  if (a_this->m_bProcessing != 0) {
    mark_removed(pTmpRecv);
  } else {
    remove_now(*a_this, pTmpRecv);
  }
  NUV_REQUIRE_TEXT(has_room(*a_this), "1 == NUV_SelectSet_available( a_this)");
}

void NUV_SelectSet_setFdSet(const SelectSet* a_this, fd_set* a_fdset) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_fdset);
  if (a_fdset == nullptr) {
    return;
  }
  nuv::fill_fd_set(*a_this, *a_fdset);
}

uint32_t NUV_SelectSet_process(SelectSet* a_this, uint32_t a_budget, const fd_set* a_fdset) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_fdset);
  if (a_fdset == nullptr) {
    return 0;
  }
  return fire_ready(*a_this, a_budget, *a_fdset, kAll);
}

void NUV_SelectSet_internalRemoveDeleted(SelectSet* a_this, const fd_set* a_fdset) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_fdset);
  NUV_SelectRecv** link = &a_this->m_pFirst;
  while (NUV_SelectRecv* const receiver = *link) {
    const bool stays = receiver->m_bDeleted == 0 && receiver->m_bTemp == 0;
    if (!stays) {
      take_out(*a_this, *receiver);
    }
    if (stays || a_this->m_bProcessing != 0) {
      link = &receiver->m_pNext;
    } else {
      unlink(link);
    }
  }
}
