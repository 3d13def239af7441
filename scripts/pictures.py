# SPDX-License-Identifier: MIT
"""pictures.py FOLDER [--all | --guide] -- PROGRAM [ARGUMENT...]

Runs the program in the display and the session bus it is given, presses its
buttons as assistive software does, and saves pictures of its window."""

import datetime
import os
import subprocess
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

TABS = {
    "he": ["טיימר ורשומות", "דוחות", "מעבר וייבוא", "הגדרות", "תקופות נעולות"],
    "en": ["Timer and entries", "Reports", "Migration", "Settings", "Timesheets"],
}
# What each tab shows once it is there.
SHOWN = {
    "he": ["רשומה ידנית", "הפק דוח", "בחר קובץ ותצוגה מקדימה", "כתובת השרת", "פתח גיליון זמן בדפדפן"],
    "en": ["Manual entry", "Generate", "Choose file and preview", "Server address", "Open Timesheets in browser"],
}
# What the button shows that leads away from the language.
OTHER_LANGUAGE = {"he": "EN", "en": "עברית"}
SEND_AGAIN = {"he": "שלח שוב", "en": "Send again"}
DARK = {"he": "ערכת צבעים כהה", "en": "Dark appearance"}
SETTINGS = 3
LOADED = "Connected to PostgreSQL"
PATIENCE = 30
# After how many seconds without a key or a mouse the program asks, and a little more.
REST = 10 * 60 + 5


def wait_for(what, look):
    """The first true value of look(), or the end of the program with a sentence."""
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        try:
            found = look()
        except GLib.Error:  # the tree changed while it was read
            found = None
        if found:
            return found
        time.sleep(0.1)
    sys.exit(f"pictures: {what} did not appear within {PATIENCE} seconds")


def is_showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def find(node, name, role=None):
    """The showing element of that accessible name, and of that role, under node."""
    if node is None:
        return None
    if node.get_name() == name and role in (None, node.get_role()) and is_showing(node):
        return node
    for i in range(node.get_child_count()):
        found = find(node.get_child_at_index(i), name, role)
        if found:
            return found
    return None


def application():
    desktop = Atspi.get_desktop(0)
    for i in range(desktop.get_child_count()):
        child = desktop.get_child_at_index(i)
        if child is not None and child.get_process_id() == program.pid:
            return child
    return None


def press(name):
    element = wait_for(f'"{name}"', lambda: find(application(), name))
    actions = [element.get_action_name(i).lower() for i in range(element.get_n_actions())]
    number = next((actions.index(action) for action in ("press", "toggle", "click") if action in actions), None)
    if number is None:
        sys.exit(f'pictures: "{name}" cannot be pressed; it offers {actions}')
    element.do_action(number)


def switch(name, on):
    """Presses a switch, and waits until it says that it is on or off."""
    press(name)
    state = Atspi.StateType.CHECKED
    wait_for(f'"{name}" to change', lambda: find(application(), name).get_state_set().contains(state) == on)


def picture(path, shown):
    """Saves the window once it shows this, without a fade that is still under way."""
    wait_for(f'"{shown}"', lambda: find(application(), shown))
    window = subprocess.check_output(
        ["xdotool", "search", "--sync", "--onlyvisible", "--pid", str(program.pid), "--name", "^Timer"], text=True
    ).split()[0]
    # Away from anything that lights up under the pointer.
    subprocess.run(["xdotool", "mousemove", "1915", "1195"], check=True)
    taken = earlier = None
    for _ in range(20):  # what moves for ever, such as the mark in a text, is shown as it is
        taken, earlier = subprocess.check_output(["maim", "--hidecursor", "--window", window]), taken
        if taken == earlier:
            break
    with open(path, "wb") as file:
        file.write(taken)


def take_two(folder):
    """The first tab in both languages, left in English."""
    picture(os.path.join(folder, "window-he.png"), SHOWN["he"][0])
    press(OTHER_LANGUAGE["he"])
    picture(os.path.join(folder, "window-en.png"), SHOWN["en"][0])


def has_focus(field):
    return find(application(), field).get_state_set().contains(Atspi.StateType.FOCUSED)


def focused(node):
    """The name of the element under node that has the focus."""
    if node is None:
        return None
    for i in range(node.get_child_count()):
        found = focused(node.get_child_at_index(i))
        if found:
            return found
    return node.get_name() if node.get_state_set().contains(Atspi.StateType.FOCUSED) else None


def all_rows_tell(name, word):
    """Whether the list of that name shows rows, and each of them tells this word."""
    parts = find(application(), name, Atspi.Role.LIST)
    parts = [parts.get_child_at_index(i) for i in range(parts.get_child_count())]
    rows = [part.get_name() for part in parts if is_showing(part) and part.get_name()]  # the scroll bar has none
    return rows and all(word in row for row in rows)


def type_keys(text):
    subprocess.run(["xdotool", "type", "--delay", "20", text], check=True)


def tab_to(field):
    """Presses Tab until the keyboard is in this field, past the buttons before it."""
    for _ in range(4):
        before = focused(application())
        subprocess.run(["xdotool", "key", "Tab"], check=True)
        wait_for("the next focus", lambda: focused(application()) not in (None, before))
        if has_focus(field):
            return
    sys.exit(f'pictures: Tab does not lead to "{field}"')


def take_refused(folder):
    """What Settings says of an entry in an approved week, in both languages. The window is in English."""
    today = datetime.date.today()
    tuesday = today - datetime.timedelta(days=(today.weekday() + 1) % 7 + 19)  # the demo's approved week
    morning = datetime.datetime.combine(tuesday, datetime.time(9))
    press("Manual entry")
    wait_for('the focus on "Description"', lambda: has_focus("Description"))
    type_keys("Call about the invoice")
    for field, hours in (("From", 0), ("To", 1)):
        tab_to(field)
        type_keys((morning + datetime.timedelta(hours=hours)).isoformat() + "Z")
    subprocess.run(["xdotool", "key", "Return"], check=True)
    press("Show the change that the server did not accept")
    picture(os.path.join(folder, "refused-en.png"), SEND_AGAIN["en"])
    press(OTHER_LANGUAGE["en"])
    picture(os.path.join(folder, "refused-he.png"), SEND_AGAIN["he"])


def take_guide(folder):
    """What the guide shows of a day, in English; with a rest in it that takes its ten minutes."""
    press(OTHER_LANGUAGE["he"])
    press("Start")
    picture(os.path.join(folder, "guide-week.png"), "Stop")
    press("Actions")
    picture(os.path.join(folder, "guide-menu.png"), "Duplicate")
    subprocess.run(["xdotool", "key", "--delay", "200", "Down", "Return"], check=True)
    picture(os.path.join(folder, "guide-edit.png"), "Edit entry")
    press("Cancel")
    wait_for("the end of the dialog", lambda: find(application(), "Edit entry") is None)
    subprocess.run(["xdotool", "key", "ctrl+f"], check=True)
    wait_for('the focus on "Find entries"', lambda: has_focus("Find entries"))
    type_keys("driver")
    wait_for("what the search finds", lambda: all_rows_tell("Closed entries", "Driver app"))
    picture(os.path.join(folder, "guide-find.png"), "Find entries")
    subprocess.run(["xdotool", "key", "Escape"], check=True)
    press("Manual entry")
    press("Choose date and time: From")
    picture(os.path.join(folder, "guide-times.png"), "Asia/Jerusalem")
    press("Cancel")  # takes the calendar with it
    wait_for("the end of the calendar", lambda: find(application(), "Asia/Jerusalem") is None)
    press(TABS["en"][1])
    press("This month")
    press("Show by day")
    picture(os.path.join(folder, "guide-report.png"), "Time of each day")
    press(TABS["en"][4])
    picture(os.path.join(folder, "guide-timesheets.png"), SHOWN["en"][4])
    press(TABS["en"][0])
    time.sleep(REST)
    subprocess.run(["xdotool", "mousemove", "400", "400"], check=True)
    picture(os.path.join(folder, "guide-absence.png"), "Keep the time")


def take_all(folder):
    """Every tab, in both languages and themes."""
    for language in ("he", "en"):
        for theme in ("light", "dark"):
            for number, tab in enumerate(TABS[language]):
                press(tab)
                picture(os.path.join(folder, f"{language}-{theme}-{number + 1}.png"), SHOWN[language][number])
            press(TABS[language][SETTINGS])
            switch(DARK[language], theme == "light")  # dark for the second round, light again after it
        press(OTHER_LANGUAGE[language])


arguments, command = sys.argv[1 : sys.argv.index("--")], sys.argv[sys.argv.index("--") + 1 :]
manager = subprocess.Popen(["openbox"])
program = subprocess.Popen(command, env={**os.environ, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"})
try:
    wait_for("the loaded window", lambda: find(application(), LOADED))
    if "--all" in arguments:
        take_all(arguments[0])
    elif "--guide" in arguments:
        take_guide(arguments[0])
    else:
        take_two(arguments[0])
        take_refused(arguments[0])
finally:
    program.terminate()
    program.wait()
    manager.terminate()
    manager.wait()
