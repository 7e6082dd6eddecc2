#pragma once
// For the window's and the dialogs' tests: what a control shows, checked
// against a table under tests/data instead of one comparison a line.
#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSpinBox>
#include <QTreeView>
#include <QWidget>

#include "support/data_table.h"

namespace hygro::test {

// What the control `name` of `w` shows. `what` is "text" (a caption, a
// label's, a line edit's or a combo box's text, a menu's or group box's
// title), "checked", "enabled", "visible", "value" (a slider's or spin box's),
// "items", "count", "first", "last" (of a combo box), "heads" (a tree's
// column heads) or "exists"; the name "window" with "title" is `w`'s title.
inline QString shownOf(QWidget& w, const QString& name, const QString& what) {
  if (name == QLatin1String("window")) return w.windowTitle();
  QObject* o = w.findChild<QObject*>(name);
  if (what == QLatin1String("exists")) return QString::number(o != nullptr);
  if (!o) return QStringLiteral("<no control %1>").arg(name);
  auto* widget = qobject_cast<QWidget*>(o);
  if (what == QLatin1String("enabled") && widget) return QString::number(widget->isEnabled());
  if (what == QLatin1String("visible") && widget) return QString::number(widget->isVisibleTo(&w));
  if (auto* b = qobject_cast<QAbstractButton*>(o))
    return what == QLatin1String("checked") ? QString::number(b->isChecked()) : b->text();
  if (auto* m = qobject_cast<QMenu*>(o)) return m->title();
  if (auto* a = qobject_cast<QAction*>(o))
    return what == QLatin1String("enabled") ? QString::number(a->isEnabled()) : a->text();
  if (auto* g = qobject_cast<QGroupBox*>(o)) return g->title();
  if (auto* l = qobject_cast<QLabel*>(o)) return l->text();
  if (auto* e = qobject_cast<QLineEdit*>(o)) return e->text();
  if (auto* s = qobject_cast<QAbstractSlider*>(o)) return QString::number(s->value());
  if (auto* s = qobject_cast<QSpinBox*>(o)) return QString::number(s->value());
  if (auto* c = qobject_cast<QComboBox*>(o)) {
    QStringList items;
    for (int i = 0; i < c->count(); ++i) items << c->itemText(i);
    if (what == QLatin1String("items")) return items.join(u'|');
    if (what == QLatin1String("count")) return QString::number(c->count());
    if (what == QLatin1String("first")) return items.value(0);
    if (what == QLatin1String("last")) return items.value(c->count() - 1);
    return c->currentText();
  }
  if (auto* t = qobject_cast<QTreeView*>(o)) {
    QStringList heads;
    for (int c = 0; c < t->model()->columnCount(); ++c)
      heads << t->model()->headerData(c, Qt::Horizontal).toString();
    return heads.join(u'|');
  }
  return QStringLiteral("<cannot read %1>").arg(name);
}

// The rows of tests/data/<file> under `key` (key, control, what, expected)
// that `w` does not show, each with what it shows instead.
inline QStringList notShown(QWidget& w, const QString& file, const QString& key) {
  QStringList bad;
  int rows = 0;
  for (const QStringList& row : dataRows(file)) {
    if (row.value(0) != key) continue;
    ++rows;
    const QString got = shownOf(w, row.value(1), row.value(2));
    if (got != row.value(3))
      bad << QStringLiteral("%1 %2 is \"%3\", not \"%4\"").arg(row[1], row[2], got, row.value(3));
  }
  if (rows == 0) bad << QStringLiteral("no rows under ") + key;
  return bad;
}

}  // namespace hygro::test

// Fails the test unless `w` shows what tests/data/<file> says under `key`.
#define CHECK_SHOWN(w, file, key)                                          \
  do {                                                                     \
    const QStringList bad_ = hygro::test::notShown((w), (file), (key));    \
    QVERIFY2(bad_.isEmpty(), qPrintable(bad_.join(QStringLiteral("; ")))); \
  } while (false)
