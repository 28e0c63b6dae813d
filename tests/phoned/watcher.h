// Lets no program outlive the test program that has started it.
#ifndef TESTS_PHONED_WATCHER_H
#define TESTS_PHONED_WATCHER_H

namespace support {

// From now on, whatever this process starts and is still there when it ends, however it ends, is killed: detached
// daemons too, which are no longer among its children, and what they have started in their turn. They are known by a
// variable of their environment, which everyone inherits. Called again, it does nothing.
void watch_over_programs();

}  // namespace support

#endif
