#include "link/wait.h"

#include <QTimer>

namespace hygro {

void Wait(int ms) {
  if (ms <= 0) return;
  QEventLoop loop;
  QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
  loop.exec();
}

}  // namespace hygro
