"""A display that dies while somebody logs out."""

import signal
import sys
import unittest

from harness import wait_for, write
from login_test import Logins


class Windows(Logins):
    def test_an_x_server_that_dies_in_a_logout(self):
        self.sync_once()
        for number in range(2000):
            write(self.world.local / f"Documents/many/{number // 500}/{number}.txt", f"{number}\n" * 20)
        server = self.world.start_x_server()
        logout = self.world.session("logout")
        self.world.wait_for_log('layout "PavoProgressNoClose" loaded=1')
        self.world.wait_for_log("Pavo.doSync:kLogoutSync Going into runloop")
        wait_for(lambda: self.world.log().split("Pavo.doSync:kLogoutSync Going")[1].count("Processing"), 20, "the pass")
        server.send_signal(signal.SIGKILL)
        output = logout.communicate(timeout=60)[0]
        self.assertEqual(logout.returncode, 0, output + self.world.log()[-6000:])
        self.assertFalse(self.world.pids("roamer-window"))
        self.assert_nothing_is_left(self.world)
        self.assert_synced(self.world)


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
