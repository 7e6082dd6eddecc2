#pragma once
// For the dialogs' tests: a button pressed by name, and the rule the two
// alarm-bound dialogs keep between their bars.
#include <QAbstractSlider>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

#include "support/window_prompt.h"

namespace hygro::test {

inline void click(QWidget& w, const char* name) {
  QTest::mouseClick(child<QPushButton>(w, name), Qt::LeftButton);
}

// The bound bars of `d` (the upper's caption Label1, the lower's Label2):
// each within its range, the upper at least a degree above the lower
// whichever of them moves, and Up on the keyboard a degree warmer.
inline void checkBoundBars(QWidget& d, const char* upperName, const char* lowerName) {
  auto* upper = child<QAbstractSlider>(d, upperName);
  auto* lower = child<QAbstractSlider>(d, lowerName);
  QCOMPARE(upper->minimum(), -19);
  QCOMPARE(upper->maximum(), 70);
  QCOMPARE(lower->minimum(), -20);
  QCOMPARE(lower->maximum(), 69);
  lower->setValue(5);
  upper->setValue(0);
  QCOMPARE(lower->value(), -1);
  QCOMPARE(child<QLabel>(d, "Label2")->text(), QStringLiteral("-1C"));
  lower->setValue(25);
  QCOMPARE(upper->value(), 26);
  QCOMPARE(child<QLabel>(d, "Label1")->text(), QStringLiteral("26C"));
  upper->setValue(-100);
  QCOMPARE(upper->value(), -19);
  QCOMPARE(lower->value(), -20);
  lower->setValue(100);
  QCOMPARE(lower->value(), 69);
  QCOMPARE(upper->value(), 70);
  QCOMPARE(child<QLabel>(d, "Label1")->text(), QStringLiteral("70C"));
  lower->setValue(10);
  upper->setValue(20);
  QTest::keyClick(upper, Qt::Key_Up);
  QCOMPARE(upper->value(), 21);
  QTest::keyClick(lower, Qt::Key_Down);
  QCOMPARE(lower->value(), 9);
}

}  // namespace hygro::test
