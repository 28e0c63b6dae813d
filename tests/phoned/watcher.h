// Kills the programs that a test program has started when it ends.
#ifndef TESTS_PHONED_WATCHER_H
#define TESTS_PHONED_WATCHER_H

namespace support {

// Kills all processes that this process starts from now on when it ends, even by a signal, including detached daemons
// and their children. An inherited environment variable marks them. Further calls do nothing.
void watch_over_programs();

}  // namespace support

#endif
