#!/usr/bin/python3
"""A Qt form that tells where it was clicked. Usage: places_qt.py (PyQt5|PyQt6)

It writes and obeys what places_gtk3.py does.
"""

import importlib
import json
import sys

BINDING = sys.argv[1]
QtCore, QtGui, QtWidgets = (importlib.import_module(f"{BINDING}.{name}") for name in ("QtCore", "QtGui", "QtWidgets"))
Alignment = QtCore.Qt.AlignmentFlag


def report(event, **fields):
    print(json.dumps({"event": event, **fields}), flush=True)


class Area(QtWidgets.QLabel):
    def __init__(self, name):
        super().__init__(name)
        self.setFixedSize(61, 41)

    def mousePressEvent(self, event):
        at = event.position() if hasattr(event, "position") else event.localPos()
        report("pressed", widget=self.text(), x=at.x(), y=at.y(), width=self.width(), height=self.height())


def make_window(title, prefix):
    window = QtWidgets.QMainWindow()
    window.setWindowTitle(title)
    window.resize(310, 230)
    menu = window.menuBar().addMenu(prefix + "menu")
    for name in ("Alpha", "Beta", "Gamma"):
        menu.addAction(name).triggered.connect(lambda _, chosen=name: report("chosen", widget=chosen))
    middle = QtWidgets.QWidget()
    layout = QtWidgets.QVBoxLayout(middle)
    layout.setContentsMargins(0, 0, 0, 0)
    layout.addWidget(Area(prefix + "first"), 0, Alignment.AlignLeft)
    layout.addWidget(Area(prefix + "last"), 1, Alignment.AlignRight | Alignment.AlignBottom)
    window.setCentralWidget(middle)
    window.show()
    return window


def main():
    application = QtWidgets.QApplication([BINDING])
    windows = [make_window("Places", "")]

    def obey():
        command = sys.stdin.readline().strip()
        if not command:
            notifier.setEnabled(False)
            return
        windows.append(make_window("Second", "other "))
        report("done", command=command)

    kind = getattr(QtCore.QSocketNotifier, "Type", QtCore.QSocketNotifier).Read
    notifier = QtCore.QSocketNotifier(0, kind)
    notifier.activated.connect(obey)
    report("ready")
    getattr(application, "exec", getattr(application, "exec_", None))()


if __name__ == "__main__":
    main()
