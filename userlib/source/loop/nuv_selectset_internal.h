// What a reactor asks of its sets, so that a cycle walks their lists no more often than it has to.
#ifndef USERLIB_SOURCE_NUV_SELECTSET_INTERNAL_H
#define USERLIB_SOURCE_NUV_SELECTSET_INTERNAL_H

#include <stdint.h>
#include <sys/select.h>

#include "nuv_selectset.h"

namespace userlib {

// How many receivers, of all sets, have so far been given to the next purge of their set. While this stands still, no set
// has got anything new to purge.
uint32_t departures();

// Adds the descriptors of all receivers, and tells whether the next purge takes any of these.
bool fill_fd_set(const SelectSet& set, fd_set& asked);

// NUV_SelectSet_process() for an fd_set that nobody changes meanwhile: the walk ends with the last descriptor in it.
uint32_t dispatch_fd_set(SelectSet& set, uint32_t budget, const fd_set& ready);

}  // namespace userlib

#endif
