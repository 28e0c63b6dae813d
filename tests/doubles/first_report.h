// The first contract report of a call that cannot go on after it.
#ifndef TESTS_SUPPORT_FIRST_REPORT_H
#define TESTS_SUPPORT_FIRST_REPORT_H

#include <functional>

#include "doubles/contract_recorder.h"

namespace support {

// Makes the call in a process of its own, which ends with the first report. A call without one gives an empty Report.
Report first_report(const std::function<void()>& call);

}  // namespace support

#endif
