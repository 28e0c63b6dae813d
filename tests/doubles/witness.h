// Lists the contract checks that failed during the tests.
#ifndef TESTS_DOUBLES_WITNESS_H
#define TESTS_DOUBLES_WITNESS_H

#include "doubles/contract_recorder.h"

namespace support {

// Adds "<file> <line>" to the file that the environment variable USERLIB_WITNESSES names; does nothing without one.
void witness(const Report& report);

}  // namespace support

#endif
