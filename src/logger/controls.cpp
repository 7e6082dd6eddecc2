#include "logger/controls.h"

namespace hygro {

namespace {

QString name(const char* n) { return QString::fromLatin1(n); }

// The operating controls an exchange must not be disturbed through.
const QStringList& OperatingControls() {
  static const QStringList names{
      name("Combo2"),    name("Combo4"),    name("Combo5"),    name("Command1"),  name("Command2"),
      name("Command4"),  name("Command5"),  name("Command6"),  name("Command7"),  name("Command11"),
      name("Command13"), name("Command19"), name("Command26"), name("Command28"), name("Option1"),
      name("Option2"),   name("Option3"),   name("Option4"),   name("m1"),        name("m2"),
      name("m3"),        name("m11"),       name("m12"),       name("m21"),       name("m22"),
      name("m23"),       name("m31"),       name("m32"),       name("m33"),       name("m34")};
  return names;
}

const QStringList& ViewOptions() {
  static const QStringList names{name("Option5"), name("Option6"), name("Option7"), name("Option8"),
                                 name("Option9")};
  return names;
}

// Buttons a continuous run disables and nothing else in the status display
// gives back; the idle state does, so that they do not stay dead after a run.
const QStringList& ContinuousRunButtons() {
  static const QStringList names{name("Command10"), name("Command12"), name("Command22"),
                                 name("Command23")};
  return names;
}

void enableAll(ControlTable& t, std::initializer_list<const char*> names, bool on) {
  for (const char* n : names) t.enable(name(n), on);
}

void showGraphScrollBars(ControlTable& t, bool on) {
  for (const QString& n : GraphScrollBars()) t.show(n, on);
}

void NotConnectedControls(ControlTable& t) {
  enableAll(t, {"Combo1", "Combo3"}, true);
  t.enable(name("Command27"), false);
  enableAll(t, {"m1", "m2", "m3", "m11", "m12", "m21", "m22", "m23", "m31", "m32"}, true);
  enableAll(t, {"m33", "m34"}, false);
  enableAll(t, {"Frame8", "Frame11"}, true);
  for (const QString& n : ViewOptions()) t.enable(n, true);
  for (const char* n : {"Label19", "Label6", "Label21", "Label26", "Label10", "Label2", "Label4"})
    t.setText(name(n), QString());
  t.setText(name("Label16"), QStringLiteral("----"));
  t.enable(name("Combo4"), true);
  t.setText(name("Command2"), QStringLiteral("Continuous"));
  t.setText(name("Label49"), QStringLiteral("Unconnection"));
  t.setBack(name("Label49"), BackColour::Black);
  t.setText(name("Label7"), QStringLiteral("----"));
  t.setBack(name("Label7"), BackColour::ButtonFace);
  t.setText(name("Label8"), QString());
  t.setBack(name("Label8"), BackColour::ButtonFace);
  t.setText(name("Label14"), QStringLiteral("----"));
  for (const char* n : {"Label48", "Label29", "Label46"}) t.setText(name(n), QString());
  // A logger unplugged during a continuous run ends here, not in the idle
  // state; the graphs of the data held must stay scrollable offline.
  showGraphScrollBars(t, true);
  // Without a logger these buttons could only do nothing; greyed, they say
  // so. The record button reads "Start" again, as it will once connected.
  for (const char* n :
       {"Command1", "Command2", "Command4", "Command5", "Command11", "Command26", "Command28"})
    t.enable(name(n), false);
  t.setText(name("Command4"), QStringLiteral("Start"));
}

void ConnectedControls(const StatusView& v, ControlTable& t) {
  enableAll(t, {"Combo1", "Combo3"}, false);
  t.enable(name("Command27"), true);
  enableAll(t, {"m33", "m34"}, false);
  t.setText(name("Label49"), QStringLiteral("Communicating"));
  t.setBack(name("Label49"), BackColour::LightGreen);
  t.setText(name("Label26"), v.Label26);
  t.setText(name("Label48"), v.Label48);
  t.setText(name("Label29"), v.Label29);
  t.setText(name("Label46"), v.Label46);
  t.setText(name("Label21"), v.Label21);
  t.setText(name("Label19"), v.Label19);
  t.setText(name("Label6"), v.Label6);
  t.setText(name("Label7"), v.Label7);
  t.setBack(name("Label7"), v.batteryAlarm ? BackColour::Red : BackColour::ButtonFace);
  t.setText(name("Label8"), v.Label8);
  t.setBack(name("Label8"), v.endAlarm ? BackColour::Red : BackColour::ButtonFace);
  t.setText(name("Label14"), v.Label14);

  switch (v.state) {
    case DisplayState::Recording:
      t.merge(Controls_Lock());
      t.enable(name("Command4"), true);
      t.setText(name("Command4"), v.Command4);
      t.setText(name("Label16"), v.Label16);
      t.enable(name("Option6"), false);
      t.enable(name("Command11"), true);
      enableAll(t, {"m1", "m2", "m3", "m11", "m12", "m21", "m23"}, true);
      enableAll(t, {"Option5", "Option7", "Option8", "Option9"}, true);
      break;
    case DisplayState::Reserving:
      t.merge(Controls_Lock());
      t.enable(name("Command4"), true);
      t.setText(name("Command4"), v.Command4);
      t.setText(name("Label16"), v.Label16);
      enableAll(t, {"m22", "Option6"}, false);
      t.enable(name("Command11"), true);
      t.setText(name("Label8"), QString());
      t.setBack(name("Label8"), BackColour::ButtonFace);
      enableAll(t, {"m1", "m2", "m3", "m11", "m12", "m21", "m23"}, true);
      enableAll(t, {"Option5", "Option7", "Option8", "Option9"}, true);
      break;
    case DisplayState::Continuous:
      // The record button keeps its caption and the state label its text.
      t.merge(Controls_Lock());
      showGraphScrollBars(t, false);
      enableAll(t, {"Command10", "Command12"}, false);
      t.setText(name("Command2"), v.Command2);
      t.enable(name("Command2"), true);
      enableAll(t, {"m1", "m3", "m31"}, true);
      enableAll(t, {"Option5", "Option7"}, false);
      enableAll(t, {"Option8", "Option9"}, true);
      enableAll(t, {"Command22", "Command23"}, false);
      break;
    case DisplayState::Idle:
    case DisplayState::NotConnected:
      t.enable(name("Command4"), true);
      t.setText(name("Command4"), v.Command4);
      t.setText(name("Label16"), v.Label16);
      enableAll(t, {"m33", "m34"}, true);
      t.setText(name("Command2"), v.Command2);
      t.merge(Controls_Unlock());
      t.enable(name("Combo4"), false);
      t.enable(name("m22"), true);
      showGraphScrollBars(t, true);
      for (const QString& n : ContinuousRunButtons()) t.enable(n, true);
      enableAll(t, {"m2", "m11", "m12", "Frame8", "Frame11"}, true);
      for (const QString& n : ViewOptions()) t.enable(n, true);
      break;
  }

  t.setText(name("Label3"), v.Label3);
  for (const char* n : {"Label29", "Label31", "Label32", "Label46"})
    t.show(name(n), v.boundsVisible);
}

}  // namespace

ControlState& ControlTable::at(const QString& name) {
  const auto it = index_.constFind(name);
  if (it != index_.cend()) return entries_[*it].second;
  index_.insert(name, entries_.size());
  entries_.emplace_back(name, ControlState{});
  return entries_.back().second;
}

void ControlTable::enable(const QString& name, bool on) { at(name).enabled = on; }
void ControlTable::show(const QString& name, bool on) { at(name).visible = on; }
void ControlTable::setText(const QString& name, const QString& text) { at(name).text = text; }
void ControlTable::setBack(const QString& name, BackColour c) { at(name).back = c; }

void ControlTable::merge(const ControlTable& later) {
  for (const auto& [n, s] : later.entries_) {
    ControlState& mine = at(n);
    if (s.enabled) mine.enabled = s.enabled;
    if (s.visible) mine.visible = s.visible;
    if (s.text) mine.text = s.text;
    if (s.back) mine.back = s.back;
  }
}

const ControlState* ControlTable::find(const QString& name) const {
  const auto it = index_.constFind(name);
  return it == index_.cend() ? nullptr : &entries_[*it].second;
}

const QStringList& GraphScrollBars() {
  static const QStringList names{name("HScroll1"), name("HScroll2"), name("HScroll3"),
                                 name("HScroll4"), name("VScroll1"), name("VScroll2"),
                                 name("VScroll3"), name("VScroll4")};
  return names;
}

ControlTable Controls_Lock() {
  ControlTable t;
  for (const QString& n : OperatingControls()) t.enable(n, false);
  return t;
}

ControlTable Controls_Unlock() {
  ControlTable t;
  for (const QString& n : OperatingControls()) t.enable(n, true);
  for (const QString& n : ViewOptions()) t.enable(n, true);
  return t;
}

ControlTable StatusControls(const StatusView& view) {
  ControlTable t;
  if (view.state == DisplayState::NotConnected)
    NotConnectedControls(t);
  else
    ConnectedControls(view, t);
  return t;
}

}  // namespace hygro
