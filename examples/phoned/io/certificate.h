// Looks at the certificate of a server from which phoned's device is provisioned.
#ifndef EXAMPLES_PHONED_IO_CERTIFICATE_H
#define EXAMPLES_PHONED_IO_CERTIFICATE_H

#include <string>

#include "phoned/core/result.h"

namespace phoned {

// Says in words whether the subject of the first certificate in a PEM file is as the needle wants it. An error tells
// that there is no such certificate, or that the needle is wrong.
Result<std::string> match_subject(const std::string& file, const std::string& needle);

}  // namespace phoned

#endif
