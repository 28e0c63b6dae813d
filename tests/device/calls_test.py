"""phoned decides calls on the board, as a service that the system has started."""
from suite import DeviceTest

# Each script of the demo, with the options that its answers are for.
PLAN = "110 | 112 | 11T | 118xx | 12 | 12x | 0x.T | [2-9]xxx | *2x"


class Calls(DeviceTest):
    def test_demo(self):
        device = self.booted()
        device.check("ps | grep -q '[/]usr/sbin/phoned'")
        device.check("/etc/init.d/S50phoned stop")
        device.put("/var/plan", PLAN + "\n")
        device.check("phoned --map-file /var/plan --interdigit 1000 --console /var/run/phoned.console")
        scripts = device.check("ls /tests/demo | cat").split()
        self.assertGreaterEqual(len(scripts), 7)
        for script in scripts:
            said = device.check("phonectl --script /tests/demo/" + script)
            self.assertIn("-> ", said, script)
        self.assertIn("110", device.check("phonectl console /var/run/phoned.console map"))
        device.check("kill $(cat /var/run/phoned.pid)")
        device.check("for i in 1 2 3 4 5 6 7 8 9 10; do [ -e /var/run/phoned.pid ] || break; sleep 1; done; "
                     "[ ! -e /var/run/phoned.pid ]")
        self.assertIn("farewell", device.check("logread"))

    def test_service(self):
        device = self.booted()
        first = device.check("cat /var/run/phoned.pid")
        self.assertEqual(device.check("phonectl offhook 3"), "3 ready")
        self.assertEqual(device.check("phonectl dial 3 110"), "3 complete 110 110")
        self.assertIn("is already running", device.run("phoned")[1])
        # Killed, it is started again by the watch.
        device.check("kill -9 %s" % first)
        device.check("for i in 1 2 3 4 5 6 7 8 9 10; do [ \"$(cat /var/run/phoned.pid)\" = %s ] || break; sleep 1; done" % first)
        self.assertNotEqual(device.check("cat /var/run/phoned.pid"), first)
        self.assertEqual(device.check("phonectl offhook 3"), "3 ready")
        self.assertIn("starting it again", device.check("logread"))
        # /etc/quiet is on the flash, as the system is read-only.
        self.assertNotEqual(device.run("touch /etc/other")[0], 0)
        device.check("touch /flash/quiet && [ -e /etc/quiet ] && rm /flash/quiet && [ ! -e /etc/quiet ]")
        self.assertIn("Power down", device.power_off())
