#include "nuv_messageheader.h"

#include <utility>

#include <stdio.h>

#include "core/contract.h"
#include "core/text.h"

namespace {

constexpr char kFamily[] = "nuv_messageheader";

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
  using nuv::text_or_empty;
  NUV_REQUIRE(((void *)0) != a_msg);
  NUV_REQUIRE(((void *)0) != a_dest);
  NUV_REQUIRE(((void *)0) != a_prefix);
  NUV_REQUIRE(((void *)0) != a_srcname);
  NUV_REQUIRE(((void *)0) != a_destname);
  const MessageHeader header = a_msg != nullptr ? *a_msg : MessageHeader{};
  const size_t room = a_dest != nullptr ? nuv::print_room(a_size) : 0;
  return snprintf(a_dest, room, "%s:%s#%d:%s#%d:%s", text_or_empty(a_prefix), text_or_empty(a_destname),
                  header.m_iDestPort, text_or_empty(a_srcname), header.m_iSrcPort, text_or_empty(a_text));
}
