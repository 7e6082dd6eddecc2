#include "support/data_disklimit.h"

#ifdef Q_OS_UNIX
#include <signal.h>
#include <sys/resource.h>
#endif

namespace hygro::test {

FileSizeLimit::FileSizeLimit(qint64 bytes) {
#ifdef Q_OS_UNIX
  // Exceeding the limit would otherwise kill the process with SIGXFSZ.
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit lim{};
  if (::getrlimit(RLIMIT_FSIZE, &lim) != 0) return;
  oldSoft_ = lim.rlim_cur;
  lim.rlim_cur = static_cast<rlim_t>(bytes);
  active_ = ::setrlimit(RLIMIT_FSIZE, &lim) == 0;
#else
  Q_UNUSED(bytes);
#endif
}

FileSizeLimit::~FileSizeLimit() {
#ifdef Q_OS_UNIX
  if (!active_) return;
  rlimit lim{};
  ::getrlimit(RLIMIT_FSIZE, &lim);
  lim.rlim_cur = static_cast<rlim_t>(oldSoft_);
  ::setrlimit(RLIMIT_FSIZE, &lim);
#endif
}

}  // namespace hygro::test
