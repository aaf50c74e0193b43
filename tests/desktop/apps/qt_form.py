#!/usr/bin/python3
"""A form of Qt widgets that tells what is done to it. Usage: qt_form.py 5|6 [few]; form.py says what it tells.

With "few" it has only a few of its widgets."""

import importlib
import sys

from form import FRUIT, Form, report

QtCore, QtWidgets = (importlib.import_module(f"PyQt{sys.argv[1]}.{name}") for name in ("QtCore", "QtWidgets"))


class QtForm(Form):
    def __init__(self):
        self.window = QtWidgets.QMainWindow()
        self.window.setWindowTitle(f"Qt {sys.argv[1]} form")
        self.window.menuBar().addMenu("File").addAction("Open").triggered.connect(
            lambda: report("clicked", widget="open"))
        self.widgets = self.make_widgets()
        layout = QtWidgets.QVBoxLayout()
        few = 6 if "few" in sys.argv else None
        for name, widget in list(self.widgets.items())[:few]:
            if name in ("entry", "password", "notes", "spin", "slider"):
                widget.setAccessibleName(name.capitalize())
            layout.addWidget(widget)
        for widget in () if few else self.still_widgets():
            layout.addWidget(widget)
        page = QtWidgets.QWidget()
        page.setLayout(layout)
        self.window.setCentralWidget(page)
        self.input = QtCore.QSocketNotifier(sys.stdin.fileno(), QtCore.QSocketNotifier.Type.Read)
        self.input.activated.connect(lambda *_: self.input.setEnabled(self.on_input()))
        self.window.show()
        self.widgets["entry"].setFocus()

    @staticmethod
    def make_widgets():
        button, box, radio = QtWidgets.QPushButton("Count me"), QtWidgets.QCheckBox("Remember me"), QtWidgets.QRadioButton("Two")
        button.clicked.connect(lambda: report("clicked", widget="button"))
        box.toggled.connect(lambda on: report("switched", widget="box", on=on))
        radio.toggled.connect(lambda on: report("switched", widget="radio", on=on))
        entry, password, notes = QtWidgets.QLineEdit("before"), QtWidgets.QLineEdit("secret"), QtWidgets.QPlainTextEdit("First line\nSecond line")
        password.setEchoMode(QtWidgets.QLineEdit.EchoMode.Password)
        for name, field in (("entry", entry), ("password", password)):
            field.textChanged.connect(lambda text, widget=name: report("changed", widget=widget, text=text))
        disabled = QtWidgets.QPushButton("Not now", enabled=False)
        return {"button": button, "disabled": disabled, "box": box, "radio": radio, "entry": entry,
                "password": password, "notes": notes, "spin": QtWidgets.QSpinBox(value=42),
                "slider": QtWidgets.QSlider(QtCore.Qt.Orientation.Horizontal)}

    @staticmethod
    def still_widgets():
        combo, table, tabs = QtWidgets.QComboBox(), QtWidgets.QTableWidget(2, 2), QtWidgets.QTabWidget()
        combo.addItems(FRUIT)
        for cell in range(4):
            table.setItem(cell // 2, cell % 2, QtWidgets.QTableWidgetItem(f"Cell {cell}"))
        for number in ("First", "Second"):
            tabs.addTab(QtWidgets.QLabel(f"Content of the {number.lower()} page"), number + " page")
        return combo, table, tabs

    def look(self):
        widgets = self.widgets
        return {"texts": {"entry": widgets["entry"].text(), "password": widgets["password"].text(),
                          "notes": widgets["notes"].toPlainText()},
                "checked": [name for name in ("box", "radio") if widgets[name].isChecked()],
                "focused": [name for name, widget in widgets.items() if widget.hasFocus()]}


def main():
    application = QtWidgets.QApplication(sys.argv[:1])
    form = QtForm()
    report("ready")
    sys.exit(application.exec() if form else 1)


if __name__ == "__main__":
    main()
