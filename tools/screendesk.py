# SPDX-License-Identifier: Apache-2.0
"""A desktop without a screen, and the program on it, for tools/screenshots: looks at the pixels, presses keys and buttons.

Every wait looks for what it waits for and has a limit; Missing says what did not come.
"""

import os
import signal
import subprocess
import time

SIZE = (1440, 900)  # px of the screen
LIMIT = 60  # s, of each wait; a busy machine may need some
BACKGROUND = bytes((43, 47, 51))  # of the view, around the pictures
PARKED = (720, 4)  # the mouse, where nothing looks at it: the window's title

OPENBOX = """<?xml version="1.0"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <focus><focusNew>yes</focusNew><followMouse>no</followMouse><focusLast>yes</focusLast></focus>
  <placement><policy>Smart</policy><center>yes</center></placement>
  <theme><name>Clearlooks</name><animateIconify>no</animateIconify></theme>
  <desktops><number>1</number><popupTime>0</popupTime></desktops>
  <keyboard/>
  <mouse><context name="Client">
    <mousebind button="Left" action="Press"><action name="Focus"/><action name="Raise"/></mousebind>
  </context></mouse>
</openbox_config>
"""


class Missing(Exception):
    """Something that was waited for did not come."""


def wait_for(condition, what, limit=LIMIT):
    """What the condition returns as soon as that is something."""
    end = time.monotonic() + limit
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > end:
            raise Missing(what)
        time.sleep(0.1)


class Picture:
    """RGB pixels, rows packed."""

    def __init__(self, width, height, pixels):
        self.width, self.height, self.pixels = width, height, pixels

    @staticmethod
    def from_ppm(data):
        fields, at = [], 0
        while len(fields) < 4:
            end = at
            while not data[end : end + 1].isspace():
                end += 1
            fields.append(data[at:end])
            at = end + 1
        return Picture(int(fields[1]), int(fields[2]), data[at:])

    def at(self, x, y):
        place = 3 * (y * self.width + x)
        return self.pixels[place : place + 3]

    def row(self, y, left, right):
        return self.pixels[3 * (y * self.width + left) : 3 * (y * self.width + right)]

    def differs(self, other):
        """In more than a text cursor that blinks."""
        if self.pixels == other.pixels:
            return False
        rows = [y for y in range(self.height) if self.row(y, 0, self.width) != other.row(y, 0, self.width)]
        if len(rows) > 40:
            return True
        changed = sum(self.at(x, y) != other.at(x, y) for y in rows for x in range(self.width))
        return changed > 60


class Icon:
    """An icon of a tool bar, found on the screen by the pixels that it covers altogether."""

    def __init__(self, file):
        data = subprocess.run(["convert", file, "-depth", "8", "rgba:-"], check=True, capture_output=True).stdout
        side = int((len(data) / 4) ** 0.5)
        self.side = side
        self.solid = [
            (i % side, i // side, data[4 * i : 4 * i + 3]) for i in range(side * side) if data[4 * i + 3] == 255
        ]
        # The longest run of them in a row is looked for first.
        run, best = [], []
        for x, y, colour in self.solid:
            run = run + [(x, y, colour)] if run and run[-1][:2] == (x - 1, y) else [(x, y, colour)]
            best = max(best, run, key=len)
        self.first = best[0][:2]
        self.run = b"".join(colour for _, _, colour in best)

    def find(self, picture, bottom):
        """Its middle in the rows above `bottom`; None if it is not there, or grey."""
        for y in range(self.first[1], bottom):
            row, at = picture.row(y, 0, picture.width), -1
            while (at := row.find(self.run, at + 1)) >= 0:
                left, top = at // 3 - self.first[0], y - self.first[1]
                if at % 3 == 0 and all(picture.at(left + dx, top + dy) == colour for dx, dy, colour in self.solid):
                    return left + self.side // 2, top + self.side // 2
        return None


class Desk:
    """An X server, a window manager, and at most one program on them. To be used by `with`."""

    def __init__(self, folder, icons):
        self.folder, self.icons = folder, icons
        self.children, self.program = [], None
        self.environment = {
            name: value
            for name, value in os.environ.items()
            if not name.startswith(("KVCAP2_", "QT_", "LC_", "LANG", "WAYLAND", "LD_LIBRARY"))
        }
        self.environment.update(HOME=folder, LC_ALL="C.UTF-8", QT_QPA_PLATFORM="xcb", QT_XCB_GL_INTEGRATION="none")

    def __enter__(self):
        try:
            self._start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.end()
        for child in reversed(self.children):
            child.terminate()
            try:
                child.wait(10)
            except subprocess.TimeoutExpired:
                child.kill()
                child.wait()

    def _start(self):
        readable, writable = os.pipe()
        server = ["Xvfb", "-displayfd", str(writable), "-screen", "0", f"{SIZE[0]}x{SIZE[1]}x24", "-nolisten", "tcp"]
        self.children.append(subprocess.Popen(server, pass_fds=[writable], stderr=subprocess.DEVNULL))
        os.close(writable)
        with os.fdopen(readable) as pipe:
            number = pipe.readline().strip()
        if not number:
            raise Missing("Xvfb does not start.")
        self.environment["DISPLAY"] = ":" + number
        settings = os.path.join(self.folder, "openbox.xml")
        with open(settings, "w", encoding="utf-8") as file:
            file.write(OPENBOX)
        manager = ["openbox", "--sm-disable", "--config-file", settings]
        self.children.append(
            subprocess.Popen(manager, env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        )
        # It sets the number of desktops when it is ready.
        wait_for(lambda: self._xdotool("get_num_desktops", check=False), "openbox does not manage the screen")

    # ---- the program ------------------------------------------------------------------------------

    def start(self, program, folder):
        """Starts it in a working folder and waits until its window fills the screen and shows pictures."""
        with open(os.path.join(folder, "output.txt"), "w", encoding="utf-8") as output:
            self.program = subprocess.Popen([program], cwd=folder, env=self.environment, stdout=output, stderr=output)
        self.window = wait_for(self._filling_window, "The window does not come up, or not as large as the screen.")
        # In two steps: bars may still come and go while the first pictures do.
        self.view = wait_for(self._find_view, "There is no view.")
        self.pictures()
        self.wait_until_still()
        self.view = wait_for(self._find_view, "There is no view any more.")

    def end(self):
        """Ends it as its operator would not, but in order."""
        if self.program and self.program.poll() is None:
            self.program.send_signal(signal.SIGTERM)
            try:
                self.program.wait(LIMIT)
            except subprocess.TimeoutExpired:
                self.program.kill()
                self.program.wait()
        self.program = None

    def _windows(self):
        found = self._xdotool("search", "--onlyvisible", "--pid", str(self.program.pid), check=False)
        return found.split()

    def _filling_window(self):
        if self.program.poll() is not None:
            raise Missing("The program has ended.")
        for window in self._windows():
            size = dict(
                line.split("=") for line in self._xdotool("getwindowgeometry", "--shell", window).split() if "=" in line
            )
            if int(size["WIDTH"]) == SIZE[0] and int(size["HEIGHT"]) > 0.9 * SIZE[1]:
                return window
        return None

    def dialog(self):
        """Waits until another window of the program than the first has the keyboard, and is painted; returns it."""

        def found():
            active = self._xdotool("getactivewindow", check=False)
            return active if active and active != self.window and active in self._windows() else None

        dialog = wait_for(found, "No dialog came up.")
        self.wait_until_still()
        return dialog

    def no_dialog(self):
        wait_for(
            lambda: self._xdotool("getactivewindow", check=False) == self.window,
            "The dialog does not go, or the window does not get the keyboard back.",
        )
        self.wait_until_still()

    # ---- keys and buttons --------------------------------------------------------------------------

    def _xdotool(self, *arguments, check=True):
        done = subprocess.run(
            ["xdotool", *map(str, arguments)], env=self.environment, capture_output=True, text=True, timeout=LIMIT
        )
        if check and done.returncode != 0:
            raise Missing(f"xdotool {' '.join(map(str, arguments))}: {done.stderr.strip()}")
        return done.stdout.strip() if done.returncode == 0 else ""

    def keys(self, *names):
        self._xdotool("key", "--delay", 60, *names)

    def type(self, text):
        self._xdotool("type", "--delay", 60, text)

    def hold(self, key):
        self._xdotool("keydown", key)

    def release(self, key):
        self._xdotool("keyup", key)

    def move(self, x, y):
        """In two steps: a mouse that comes in one leap is no mouse for those who wait for one to pass."""
        self._xdotool("mousemove", round(x) - 3, round(y) - 2, "mousemove", round(x), round(y))

    def park(self):
        self._xdotool("mousemove", *PARKED)

    def click(self, x, y, button=1):
        self.move(x, y)
        self._xdotool("click", button)

    def drag(self, x, y, to_x, to_y):
        """The button stays down."""
        self.move(x, y)
        self._xdotool("mousedown", 1)
        for step in range(1, 9):
            self._xdotool("mousemove", round(x + (to_x - x) * step / 8), round(y + (to_y - y) * step / 8))

    def drop(self):
        self._xdotool("mouseup", 1)

    def place_of(self, icon):
        """Of a button in a tool bar, once it is there and not grey."""
        drawing = Icon(os.path.join(self.icons, icon + ".png"))
        what = f"No button {icon} is on the screen, or it is grey."
        return wait_for(lambda: drawing.find(self.screen(), 200), what)

    def press(self, icon):
        """Presses a button, leaves it, and waits until what that does is done."""
        self.click(*self.place_of(icon))
        self.park()
        self.wait_until_still()

    # ---- what is on the screen ---------------------------------------------------------------------

    def ppm(self, window="root", box=None):
        """A window with its frame, or the whole screen, or a box (left, top, right, bottom) of that."""
        crop = ["-crop", f"{box[2] - box[0]}x{box[3] - box[1]}+{box[0]}+{box[1]}", "+repage"] if box else []
        command = ["import", "-frame", "-window", window, *crop, "-depth", "8", "ppm:-"]
        done = subprocess.run(command, env=self.environment, capture_output=True, timeout=LIMIT)
        if done.returncode != 0:
            raise Missing("The screen cannot be read: " + done.stderr.decode(errors="replace"))
        return done.stdout

    def screen(self, box=None):
        return Picture.from_ppm(self.ppm(box=box))

    def _is_still(self, box, seconds, limit):
        end, since, last = time.monotonic() + limit, time.monotonic(), None
        while time.monotonic() < end:
            now = self.screen(box)
            if last is None or now.differs(last):
                last, since = now, time.monotonic()
            elif time.monotonic() - since > seconds:
                return True
            time.sleep(0.25)
        return False

    def wait_until_still(self):
        """Until nothing changes any more on the screen, but for the status bar."""
        if not self._is_still((0, 0, SIZE[0], SIZE[1] - 30), 1.0, LIMIT):
            raise Missing("The screen does not come to rest.")

    def wait_for_change(self, before):
        """Until the view shows something else than `before`, a screen()."""
        rows = range(*self.view)

        def changed():
            now = self.screen()
            return any(now.row(y, 0, SIZE[0]) != before.row(y, 0, SIZE[0]) for y in rows)

        wait_for(changed, "Nothing changes in the view.")

    def wait_for_rates(self):
        """Until the status bar says the same for some seconds: at first rates rise, later a message may come. On a busy
        machine they never settle."""
        self._is_still((0, SIZE[1] - 24, SIZE[0], SIZE[1]), 3.0, 20)

    def centre(self):
        """Of the view, when it has scroll bars."""
        return (SIZE[0] - 14) / 2, (self.view[0] + self.view[1] - 14) / 2

    def _find_view(self):
        """The rows (top, bottom) that the view has: dark beside or around the pictures."""
        picture = self.screen()
        for x in (1, SIZE[0] - 2):
            dark = [y for y in range(picture.height) if picture.at(x, y) == BACKGROUND]
            if dark and dark[-1] - dark[0] > SIZE[1] / 2:
                return dark[0], dark[-1] + 1
        return None

    def pictures(self):
        """Where the cameras' pictures are on the screen: left, top, right, bottom."""

        def found():
            screen, (top, bottom) = self.screen(), self.view
            middle = (top + bottom) // 2
            columns = [x for x in range(screen.width) if screen.at(x, middle) != BACKGROUND]
            if not columns:
                return None
            centre = (columns[0] + columns[-1]) // 2
            rows = [y for y in range(top, bottom) if screen.at(centre, y) != BACKGROUND]
            return (columns[0], rows[0], columns[-1] + 1, rows[-1] + 1) if rows else None

        return wait_for(found, "No pictures come.")
