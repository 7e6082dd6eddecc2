#include "dialogs/form10.h"

#include <QItemSelectionModel>
#include <QTreeView>

#include "app/form1.h"
#include "data/dump.h"

namespace hygro {

Form10::Form10(Session* session, Form1* window, QWidget* parent)
    : PrintDialog(session, window, true, parent) {
  setObjectName(QStringLiteral("Form10"));
  int first = 0, last = 0;
  auto* list = window->findChild<QTreeView*>(QStringLiteral("ListView1"));
  auto* rows = list ? qobject_cast<DumpModel*>(list->model()) : nullptr;
  if (rows && rows->dataSet() == dataSet() && list->selectionModel()) {
    // The list may be sorted: the range is by record number, not by row.
    for (const QModelIndex& index : list->selectionModel()->selectedRows()) {
      const int n = rows->recordAt(index.row());
      if (n <= 0) continue;
      first = first == 0 ? n : qMin(first, n);
      last = qMax(last, n);
    }
  }
  setDefaultRange(first, last);
}

}  // namespace hygro
