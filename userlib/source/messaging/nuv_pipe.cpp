#include "nuv_pipe.h"

#include <unistd.h>

#include "core/contract.h"

namespace {

constexpr char kFamily[] = "nuv_pipe";

}  // namespace

int32_t NUV_Pipe_construct(Pipe* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  int ends[2] = {-1, -1};
  a_this->m_bCreated = pipe(ends) == 0 ? 1 : 0;
  a_this->m_iReadFd = ends[0];
  a_this->m_iWriteFd = ends[1];
  return a_this->m_bCreated;
}

void NUV_Pipe_destruct(Pipe* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  if (a_this->m_bCreated != 0) {
    close(a_this->m_iReadFd);
    close(a_this->m_iWriteFd);
  }
}

int32_t NUV_Pipe_readFd(const Pipe* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_iReadFd;
}

int32_t NUV_Pipe_writeFd(const Pipe* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_iWriteFd;
}

// The results fit: the kernel moves less than 2^31 bytes in one call. A null buffer that an error handler lets pass is
// refused by the kernel.
int32_t NUV_Pipe_read(Pipe* a_this, void* a_buf, uint32_t a_len) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_buf);
  return static_cast<int32_t>(read(a_this->m_iReadFd, a_buf, a_len));
}

int32_t NUV_Pipe_write(Pipe* a_this, const void* a_buf, uint32_t a_len) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_buf);
  return static_cast<int32_t>(write(a_this->m_iWriteFd, a_buf, a_len));
}
