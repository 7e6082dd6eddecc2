#pragma once
// Which controls of the main window are enabled, shown, captioned and
// coloured in each state, as data. The window only applies a table by
// objectName, so every state can be checked without a window.
#include <QHash>
#include <QString>
#include <QStringList>
#include <optional>
#include <utility>
#include <vector>

#include "logger/statusview.h"

namespace hygro {

// LightGreen is RGB(128,255,128), Red is RGB(255,0,0); ButtonFace is the
// platform's button colour.
enum class BackColour { ButtonFace, Black, LightGreen, Red };

// What a table says about one control; an empty attribute leaves the control
// as it is.
struct ControlState {
  std::optional<bool> enabled;
  std::optional<bool> visible;
  std::optional<QString> text;  // caption
  std::optional<BackColour> back;
};

class ControlTable {
 public:
  void enable(const QString& name, bool on);
  void show(const QString& name, bool on);
  void setText(const QString& name, const QString& text);
  void setBack(const QString& name, BackColour c);
  // Settings of `later` override ours attribute by attribute; names new to
  // us are appended in `later`'s order.
  void merge(const ControlTable& later);
  // nullptr when the table says nothing about `name`.
  const ControlState* find(const QString& name) const;
  // One entry per name, in the order each name was first set.
  const std::vector<std::pair<QString, ControlState>>& entries() const { return entries_; }

 private:
  ControlState& at(const QString& name);

  std::vector<std::pair<QString, ControlState>> entries_;
  QHash<QString, std::size_t> index_;
};

// Every operating control and menu disabled: the state of the window while
// an exchange runs.
ControlTable Controls_Lock();
// The same controls enabled, plus the data-set and view options.
ControlTable Controls_Unlock();
// The whole table the status display applies for the view's state, in the
// order it is applied (a state that locks the controls does so first, then
// enables the few the state allows). The window caption and the status bar
// text are not in it: they are StatusView::caption and StatusView::statusBar.
ControlTable StatusControls(const StatusView& view);

// The graph's time and value scroll bars, hidden during a continuous run.
const QStringList& GraphScrollBars();

}  // namespace hygro
