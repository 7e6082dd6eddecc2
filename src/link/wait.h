#pragma once

namespace hygro {
// Waits `ms` milliseconds while the event loop keeps running, so timers tick
// and the window stays live. Returns at once for ms <= 0.
void Wait(int ms);
// Waits at most `ms` milliseconds, returning early once `done` holds.
template <typename Pred>
void WaitUntil(int ms, Pred done);
}  // namespace hygro

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>

template <typename Pred>
void hygro::WaitUntil(int ms, Pred done) {
  QDeadlineTimer deadline(ms, Qt::PreciseTimer);
  while (!deadline.hasExpired() && !done()) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    if (!done()) QThread::usleep(200);
  }
}
