// The first contract report of a call that cannot continue after it.
#ifndef TESTS_DOUBLES_FIRST_REPORT_H
#define TESTS_DOUBLES_FIRST_REPORT_H

#include <functional>

#include "doubles/contract_recorder.h"

namespace support {

// Makes the call in a child process, which ends with the first report. Returns an empty Report if there is none.
Report first_report(const std::function<void()>& call);

}  // namespace support

#endif
