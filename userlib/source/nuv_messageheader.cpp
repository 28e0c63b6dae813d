#include "nuv_messageheader.h"

#include <utility>

#include <limits.h>
#include <stdio.h>

#include "contract.h"
#include "text.h"

namespace {

constexpr char kFamily[] = "nuv_messageheader";

// The bytes that the formatter may fill. It takes a buffer beyond INT_MAX for an error in some C libraries.
size_t room(const char* dest, uint32_t size) {
  constexpr uint32_t kMax = INT_MAX;
  if (dest == nullptr) {
    return 0;
  }
  return size < kMax ? size : kMax;
}

}  // namespace

void NUV_MessageHeader_set(MessageHeader* a_msg, int32_t a_msgtype, int32_t a_destport, int32_t a_srcport) {
  NUV_REQUIRE(((void *)0) != a_msg);
  *a_msg = {a_msgtype, a_destport, a_srcport};
}

void NUV_MessageHeader_swap(MessageHeader* a_this, MessageHeader* a_src) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_src);
  if (a_src != nullptr) {
    std::swap(*a_this, *a_src);
  }
}

int32_t NUV_MessageHeader_trace(char* a_dest, uint32_t a_size, const MessageHeader* a_msg, const char* a_prefix,
                                const char* a_destname, const char* a_srcname, const char* a_text) {
  using userlib::text_or_empty;
  NUV_REQUIRE(((void *)0) != a_msg);
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_prefix);
  NUV_REQUIRE(((void *)0) != a_srcname);
  NUV_REQUIRE(((void *)0) != a_destname);
  const MessageHeader header = a_msg != nullptr ? *a_msg : MessageHeader{};
  return snprintf(a_dest, room(a_dest, a_size), "%s:%s#%d:%s#%d:%s", text_or_empty(a_prefix), text_or_empty(a_destname),
                  header.m_iDestPort, text_or_empty(a_srcname), header.m_iSrcPort, text_or_empty(a_text));
}
