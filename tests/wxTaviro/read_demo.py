#!/usr/bin/python3
# Reads the demo through AT-SPI as a screen reader does: a themed button's name, role and
# action; a list's header names, rows and cells; the selection after key presses; a tree row's
# expanded state after Right; the lines the log viewer shows. Run inside its own session bus
# (dbus-run-session) and X server; the demo gets the accessibility bridge.
#   read_demo.py DEMO
import os
import re
import subprocess
import sys
import tempfile
import time

import pyatspi

KEYS = {"Home": 0xFF50, "Left": 0xFF51, "Right": 0xFF53, "Down": 0xFF54, "End": 0xFF57}
STATUSES = {"Waiting", "Running", "Paused", "Done", "Failed", "Aborted", "Archived"}


def wait(what, probe, seconds=20):
    end = time.time() + seconds
    while time.time() < end:
        try:
            found = probe()
        except Exception:  # the object went stale meanwhile: ask again
            found = None
        if found:
            return found
        time.sleep(0.2)
    raise AssertionError("timed out waiting for " + what)


def find(node, role, name=None):
    """Depth-first, not into the cells of tables (they manage their own)."""
    if node.getRole() == role and (name is None or node.name == name):
        return node
    if node.getState().contains(pyatspi.STATE_MANAGES_DESCENDANTS):
        return None
    for child in node:
        hit = child and find(child, role, name)
        if hit:
            return hit
    return None


def press(key):
    pyatspi.Registry.generateKeyboardEvent(KEYS[key], None, pyatspi.KEY_SYM)


def states(cell):
    return cell.getState()


def show_page(app, name):
    tabs = find(app, pyatspi.ROLE_PAGE_TAB_LIST)
    index = [tab.name for tab in tabs].index(name)
    assert tabs.querySelection().selectChild(index)
    wait(name + " selected", lambda: tabs[index].getState().contains(pyatspi.STATE_SELECTED))


def focus(table):
    table.queryComponent().grabFocus()
    wait("focus", lambda: table.getState().contains(pyatspi.STATE_FOCUSED))


def read(demo):
    home = tempfile.mkdtemp()
    env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=home + "/.config")
    env.pop("NO_AT_BRIDGE", None)
    args = [demo, "--exit-after", "100", "--allow-second", "--page", "jobs", "--jobs", "60",
            "--rate", "0", "--seed", "7", "--log-rate", "200"]
    # The accessibility bus and registry first, so that the demo finds them up when it starts.
    desktop = pyatspi.Registry.getDesktop(0)
    assert desktop.childCount >= 0
    proc = subprocess.Popen(args, env=env)
    try:
        app = wait("the demo on the bus", lambda: next(
            (a for a in desktop if a and a.get_process_id() == proc.pid), None))

        button = wait("a button", lambda: find(app, pyatspi.ROLE_PUSH_BUTTON, "Order shutdown"))
        action = button.queryAction()
        assert [action.getName(i) for i in range(action.nActions)] == ["click"]

        jobs = wait("the jobs", lambda: find(app, pyatspi.ROLE_TABLE, "Jobs"))
        table = jobs.queryTable()
        wait("rows", lambda: table.nRows >= 10)
        headers = [table.getColumnDescription(c) for c in range(table.nColumns)]
        assert "Name" in headers and "Status" in headers, headers
        assert headers == [table.getColumnHeader(c).name for c in range(table.nColumns)]
        status = headers.index("Status")
        for row in range(5):
            assert table.getAccessibleAt(row, status).name in STATUSES
            assert table.getAccessibleAt(row, 0).name

        focus(jobs)
        for key, rows in (("Home", [0]), ("Down", [1]), ("End", [table.nRows - 1])):
            press(key)
            wait("selection after " + key, lambda: list(table.getSelectedRows()) == rows)
        press("Home")
        wait("focused row", lambda: states(table.getAccessibleAt(0, 0)).contains(
            pyatspi.STATE_FOCUSED))

        show_page(app, "By type")
        tree = wait("the tree", lambda: find(app, pyatspi.ROLE_TREE_TABLE, "By type"))
        rows = tree.queryTable()
        focus(tree)
        press("Home")
        press("Left")
        first = lambda: states(rows.getAccessibleAt(0, 0))
        wait("a closed group", lambda: not first().contains(pyatspi.STATE_EXPANDED))
        assert first().contains(pyatspi.STATE_EXPANDABLE)
        shown = rows.nRows
        press("Right")
        wait("an open group", lambda: first().contains(pyatspi.STATE_EXPANDED))
        wait("its rows", lambda: rows.nRows > shown)

        show_page(app, "Farm log")
        log = wait("the log", lambda: find(app, pyatspi.ROLE_TEXT, "Farm log"))
        text = log.queryText()
        # More lines than the view holds: it follows the end, scrolled down.
        wait("lines", lambda: text.getText(0, -1).count("\n") > 150)
        x, y, width, height = log.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        px, py = x + 20, y + 2  # on the first line shown, a few characters in
        # The view follows a live farm log: it may scroll between two questions, so the
        # answers count only when the point still meant the same character afterwards.
        def read_point():
            offset = text.getOffsetAtPoint(px, py, pyatspi.DESKTOP_COORDS)
            line = text.getTextAtOffset(offset, pyatspi.TEXT_BOUNDARY_LINE_START)[0]
            box = text.getCharacterExtents(offset, pyatspi.DESKTOP_COORDS)
            whole = text.getText(0, -1)
            same = text.getOffsetAtPoint(px, py, pyatspi.DESKTOP_COORDS) == offset
            return (line, box, whole) if same else None

        line, (cx, cy, cw, ch), whole = wait("a still moment of the log", read_point)
        assert re.match(r"\d\d:\d\d:\d\d\.\d{3}  \S", line), line
        assert line.rstrip("\n") in whole.split("\n")
        assert cx <= px < cx + cw and cy <= py < cy + ch, (cx, cy, cw, ch, px, py)
        print("read the demo: button, table, tree and log as a screen reader would")
    finally:
        proc.kill()
        proc.wait()


if __name__ == "__main__":
    read(sys.argv[1])
