"""The library's own test programs, as they are, on the board's kernel: 32 bits, big-endian, real signals."""
import re

from suite import DeviceTest

SHARDS = 6


class Library(DeviceTest):
    def test_library(self):
        device = self.booted()
        device.check("/etc/init.d/S50phoned stop")
        passed, skipped, failed = 0, [], []
        for shard in range(SHARDS):
            status, said = device.run("cd /var/tmp; GTEST_COLOR=no GTEST_BRIEF=0 GTEST_TOTAL_SHARDS=%d GTEST_SHARD_INDEX=%d "
                                      "/tests/userlib_tests" % (SHARDS, shard), timeout=1800)
            passed += sum(map(int, re.findall(r"^\[  PASSED  \] (\d+) test", said, re.M)))
            skipped += re.findall(r"^\[  SKIPPED \] (\S+) \(", said, re.M)
            failed += re.findall(r"^\[  FAILED  \] (\S+) \(\d+ ms\)", said, re.M)
            if status != 0 and not failed:
                failed.append("shard %d ended with status %d" % (shard, status))
        self.say("%d passed, %d skipped: %s" % (passed, len(skipped), " ".join(skipped)))
        self.assertEqual(failed, [])
        self.assertGreater(passed, 1000)
