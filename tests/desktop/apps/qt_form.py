#!/usr/bin/python3
"""A form of Qt widgets that tells what is done to it. Usage: qt_form.py 5|6 [TITLE]; form.py says what it tells."""

import sys

from form import FRUIT, TICK_MS, Form, report

if sys.argv[1] == "5":
    from PyQt5.QtCore import QSocketNotifier, Qt, QTimer
    from PyQt5.QtWidgets import (QApplication, QCheckBox, QComboBox, QLabel, QLineEdit, QListWidget, QMainWindow,
                                 QPlainTextEdit, QPushButton, QRadioButton, QSlider, QSpinBox, QTableWidget,
                                 QTableWidgetItem, QTabWidget, QVBoxLayout, QWidget)
else:
    from PyQt6.QtCore import QSocketNotifier, Qt, QTimer
    from PyQt6.QtWidgets import (QApplication, QCheckBox, QComboBox, QLabel, QLineEdit, QListWidget, QMainWindow,
                                 QPlainTextEdit, QPushButton, QRadioButton, QSlider, QSpinBox, QTableWidget,
                                 QTableWidgetItem, QTabWidget, QVBoxLayout, QWidget)


class QtForm(Form):
    def __init__(self, title):
        super().__init__()
        self.window = QMainWindow()
        self.window.setWindowTitle(title)
        self.window.menuBar().addMenu("File").addAction("Open").triggered.connect(
            lambda: report("clicked", widget="open"))
        self.widgets = self.make_widgets()
        self.label, self.rows = QLabel("Tick 0"), QListWidget()
        layout = QVBoxLayout()
        for name, widget in self.widgets.items():
            if name in ("entry", "password", "notes", "spin", "slider"):
                widget.setAccessibleName(name.capitalize())
            layout.addWidget(widget)
        for widget in (self.label, self.rows, *self.still_widgets()):
            layout.addWidget(widget)
        page = QWidget()
        page.setLayout(layout)
        self.window.setCentralWidget(page)
        self.timer = QTimer(interval=TICK_MS)
        self.timer.timeout.connect(self.tick)
        self.input = QSocketNotifier(sys.stdin.fileno(), QSocketNotifier.Type.Read)
        self.input.activated.connect(self.on_input)
        self.window.show()
        self.widgets["entry"].setFocus()

    def on_input(self, *_):
        line = sys.stdin.readline()
        if line:
            self.obey(line)
        self.input.setEnabled(bool(line))

    @staticmethod
    def make_widgets():
        button, box, radio = QPushButton("Count me"), QCheckBox("Remember me"), QRadioButton("Two")
        button.clicked.connect(lambda: report("clicked", widget="button"))
        box.toggled.connect(lambda on: report("switched", widget="box", on=on))
        radio.toggled.connect(lambda on: report("switched", widget="radio", on=on))
        entry, password, notes = QLineEdit("before"), QLineEdit("secret"), QPlainTextEdit("First line\nSecond line")
        password.setEchoMode(QLineEdit.EchoMode.Password)
        for name, field in (("entry", entry), ("password", password)):
            field.textChanged.connect(lambda text, widget=name: report("changed", widget=widget, text=text))
        disabled = QPushButton("Not now", enabled=False)
        return {"button": button, "disabled": disabled, "box": box, "radio": radio, "entry": entry,
                "password": password, "notes": notes, "spin": QSpinBox(value=42),
                "slider": QSlider(Qt.Orientation.Horizontal)}

    @staticmethod
    def still_widgets():
        combo, table, tabs = QComboBox(), QTableWidget(2, 2), QTabWidget()
        combo.addItems(FRUIT)
        for cell in range(4):
            table.setItem(cell // 2, cell % 2, QTableWidgetItem(f"Cell {cell}"))
        for number in ("First", "Second"):
            tabs.addTab(QLabel(f"Content of the {number.lower()} page"), number + " page")
        return combo, table, tabs

    def show_ticks(self, text):
        self.label.setText(text)

    def set_rows(self, texts):
        self.rows.clear()
        self.rows.addItems(texts)

    def start_timer(self):
        self.timer.start()

    def stop_timer(self):
        self.timer.stop()

    def look(self):
        widgets = self.widgets
        return {"texts": {"entry": widgets["entry"].text(), "password": widgets["password"].text(),
                          "notes": widgets["notes"].toPlainText()},
                "checked": [name for name in ("box", "radio") if widgets[name].isChecked()],
                "focused": [name for name, widget in widgets.items() if widget.hasFocus()]}


def main():
    application = QApplication(sys.argv[:1])
    form = QtForm(sys.argv[2] if len(sys.argv) > 2 else f"Qt {sys.argv[1]} form")
    report("ready")
    sys.exit(application.exec() if form else 1)


if __name__ == "__main__":
    main()
