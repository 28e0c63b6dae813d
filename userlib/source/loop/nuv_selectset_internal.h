// What a reactor asks of its sets, so that a cycle walks their lists no more often than it has to.
#ifndef USERLIB_SOURCE_LOOP_NUV_SELECTSET_INTERNAL_H
#define USERLIB_SOURCE_LOOP_NUV_SELECTSET_INTERNAL_H

#include <stdint.h>
#include <sys/select.h>

#include "nuv_selectset.h"

namespace nuv {

// NUV_SelectSet_setFdSet() without its checks.
void fill_fd_set(const SelectSet& set, fd_set& asked);

// NUV_SelectSet_process() for an fd_set that nobody changes meanwhile: the walk ends with the last descriptor in it.
uint32_t dispatch_fd_set(SelectSet& set, uint32_t budget, const fd_set& ready);

}  // namespace nuv

#endif
