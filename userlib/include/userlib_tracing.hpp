/** @file userlib_tracing.hpp
 *
 * Part of userlib.hpp: the trace facility of the process: Tracing.
 */
#ifndef USERLIB_TRACING_HPP
#define USERLIB_TRACING_HPP

#include "nuv_sysloglevel.h"
#include "userlib_core.hpp"

namespace userlib {

/// Tracing is the trace facility of the process, from here to the end of its life. There is one at a time.
class Tracing : Pinned {
 public:
  explicit Tracing(const char* file) { NUV_Sysloglevel_construct(file); }
  Tracing(const char* file, const char* ident) { NUV_Sysloglevel_construct2(file, ident); }
  ~Tracing() { NUV_Sysloglevel_destruct(); }
};

}  // namespace userlib

#endif
