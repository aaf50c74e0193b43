#!/usr/bin/python3
"""A Qt 5 window of 3,000 items: 30 groups of 50 buttons and 50 labels."""

import sys

from PyQt5 import QtWidgets

application = QtWidgets.QApplication(sys.argv)
rows = QtWidgets.QWidget()
column = QtWidgets.QVBoxLayout(rows)
for first in range(0, 1500, 50):
    group = QtWidgets.QGroupBox(f"Group {first}")
    pairs = QtWidgets.QHBoxLayout(group)
    for number in range(first, first + 50):
        pairs.addWidget(QtWidgets.QPushButton(f"Button {number}"))
        pairs.addWidget(QtWidgets.QLabel(f"Label {number}"))
    column.addWidget(group)
window = QtWidgets.QScrollArea()
window.setWindowTitle("Qt widgets")
window.setWidget(rows)
window.resize(1000, 700)
window.show()
sys.exit(application.exec_())
