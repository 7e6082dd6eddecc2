#include "data/formats.h"

#include <QDate>
#include <QLocale>
#include <QTime>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace hygro::fmt {
namespace {

constexpr qint64 kBaseJulianDay = 2415019;  // 1899-12-30
constexpr double kFirstSerial = -657434.0;  // 0100-01-01
constexpr double kEndSerial = 2958466.0;    // 10000-01-01

// Splits a serial into a day number (relative to 1899-12-30) and the seconds
// of that day, rounded to `unitsPerDay`.
bool splitSerial(double serial, qint64 unitsPerDay, QDate* date, qint64* units) {
  if (!std::isfinite(serial) || serial <= kFirstSerial - 1.0 || serial >= kEndSerial) return false;
  const double whole = std::trunc(serial);
  const double frac = std::fabs(serial - whole);
  qint64 day = static_cast<qint64>(whole);
  qint64 u = std::llround(frac * static_cast<double>(unitsPerDay));
  day += u / unitsPerDay;
  u %= unitsPerDay;
  const QDate d = QDate::fromJulianDay(kBaseJulianDay + day);
  if (!d.isValid() || d.year() < 100 || d.year() > 9999) return false;
  *date = d;
  *units = u;
  return true;
}

char* put2(char* p, int v) {
  *p++ = static_cast<char>('0' + v / 10 % 10);
  *p++ = static_cast<char>('0' + v % 10);
  return p;
}

char* put4(char* p, int v) {
  p = put2(p, v / 100);
  return put2(p, v % 100);
}

char* putDate(char* p, const DateParts& t) {
  p = put4(p, t.year);
  *p++ = '/';
  p = put2(p, t.month);
  *p++ = '/';
  return put2(p, t.day);
}

char* putTime(char* p, const DateParts& t) {
  p = put2(p, t.hour);
  *p++ = ':';
  p = put2(p, t.minute);
  *p++ = ':';
  return put2(p, t.second);
}

bool partsOf(double serial, DateParts* t) {
  QDate d;
  qint64 secs = 0;
  if (!splitSerial(serial, 86400, &d, &secs)) return false;
  t->year = d.year();
  t->month = d.month();
  t->day = d.day();
  t->hour = static_cast<int>(secs / 3600);
  t->minute = static_cast<int>(secs / 60 % 60);
  t->second = static_cast<int>(secs % 60);
  return true;
}

// |v| * 100 rounded half away from zero on the 15 significant digits a
// double is shown with, so 23.455 becomes 2346 although its binary value lies
// just below the half.
bool centsOf(double v, qint64* cents, bool* negative) {
  if (!std::isfinite(v) || std::fabs(v) >= 1e15) return false;
  const double a = std::fabs(v);
  *negative = v < 0;
  if (a == 0) {
    *cents = 0;
    return true;
  }
  char buf[40];
  const auto r = std::to_chars(buf, buf + sizeof buf, a, std::chars_format::scientific, 14);
  *r.ptr = '\0';
  // buf: d.dddddddddddddde[+-]xx
  char digits[15];
  digits[0] = buf[0];
  for (int i = 0; i < 14; ++i) digits[i + 1] = buf[i + 2];
  const int exponent = std::atoi(buf + 17);
  const int intDigits = exponent + 3;  // digits of a * 100 before its point
  qint64 n = 0;
  if (intDigits <= 0) {
    n = (intDigits == 0 && digits[0] >= '5') ? 1 : 0;
  } else {
    for (int i = 0; i < intDigits; ++i) n = n * 10 + (i < 15 ? digits[i] - '0' : 0);
    if (intDigits < 15 && digits[intDigits] >= '5') ++n;
  }
  *cents = n;
  return true;
}

QString fixed2(double v, bool digitBeforePoint) {
  qint64 cents = 0;
  bool negative = false;
  if (!centsOf(v, &cents, &negative)) return QString::number(v, 'f', 2);
  char buf[32];
  char* p = buf;
  if (negative && cents != 0) *p++ = '-';
  const qint64 whole = cents / 100;
  if (whole != 0 || digitBeforePoint) {
    const auto r = std::to_chars(p, buf + 24, whole);
    p = r.ptr;
  }
  *p++ = '.';
  p = put2(p, static_cast<int>(cents % 100));
  return QString::fromLatin1(buf, p - buf);
}

int twoDigitYear(int y) { return y < 30 ? 2000 + y : 1900 + y; }

// A tiny cursor over the text being parsed.
struct Cursor {
  const QString& s;
  qsizetype i = 0;
  bool atEnd() const { return i >= s.size(); }
  char16_t peek() const { return atEnd() ? u'\0' : s.at(i).unicode(); }
  void skipBlanks() {
    while (!atEnd() && (peek() == u' ' || peek() == u'\t')) ++i;
  }
  // Up to `maxDigits` decimal digits; false when there is none.
  bool number(int maxDigits, int* value, int* count = nullptr) {
    int v = 0, n = 0;
    while (!atEnd() && n < maxDigits && peek() >= u'0' && peek() <= u'9') {
      v = v * 10 + (peek() - u'0');
      ++n;
      ++i;
    }
    if (count) *count = n;
    *value = v;
    return n > 0;
  }
};

// h[:m[:s[.fff]]] [AM|PM]; at least one colon is needed to tell a time from a
// number. Fills the seconds of the day.
bool parseTime(Cursor& c, double* secondsOfDay) {
  int h = 0, m = 0, s = 0;
  double fraction = 0;
  if (!c.number(2, &h) || c.peek() != u':') return false;
  ++c.i;
  if (!c.number(2, &m)) return false;
  if (c.peek() == u':') {
    ++c.i;
    if (!c.number(2, &s)) return false;
    if (c.peek() == u'.') {
      ++c.i;
      double scale = 0.1;
      while (!c.atEnd() && c.peek() >= u'0' && c.peek() <= u'9') {
        fraction += (c.peek() - u'0') * scale;
        scale /= 10;
        ++c.i;
      }
    }
  }
  c.skipBlanks();
  const QString rest = c.s.mid(c.i, 2).toUpper();
  if (rest == u"AM" || rest == u"PM") {
    if (h < 1 || h > 12) return false;
    if (rest == u"AM" && h == 12) h = 0;
    if (rest == u"PM" && h != 12) h += 12;
    c.i += 2;
  }
  if (h > 23 || m > 59 || s > 59) return false;
  *secondsOfDay = h * 3600 + m * 60 + s + fraction;
  return true;
}

}  // namespace

qint64 serialToSeconds(double serial) {
  if (!std::isfinite(serial) || std::fabs(serial) > 4e6) return 0;
  const double whole = std::trunc(serial);
  const double frac = std::fabs(serial - whole);
  return static_cast<qint64>(whole) * 86400 + std::llround(frac * kSecondsPerDay);
}

double secondsToSerial(qint64 seconds) {
  const qint64 day = seconds >= 0 ? seconds / 86400 : -((-seconds + 86399) / 86400);
  const double frac = static_cast<double>(seconds - day * 86400) / kSecondsPerDay;
  return day >= 0 ? static_cast<double>(day) + frac : static_cast<double>(day) - frac;
}

bool isValidSerial(double serial) {
  QDate d;
  qint64 secs = 0;
  return splitSerial(serial, 86400, &d, &secs);
}

double dateSerial(int y, int mo, int d, int h, int mi, int s) {
  const double days = static_cast<double>(QDate(y, mo, d).toJulianDay() - kBaseJulianDay);
  const double time = (h * 3600.0 + mi * 60.0 + s) / kSecondsPerDay;
  return days >= 0 ? days + time : days - time;
}

bool makeDateSerial(int y, int mo, int d, int h, int mi, int s, double* out) {
  if (y < 100 || y > 9999 || !QDate::isValid(y, mo, d)) return false;
  if (h < 0 || h > 23 || mi < 0 || mi > 59 || s < 0 || s > 59) return false;
  *out = dateSerial(y, mo, d, h, mi, s);
  return true;
}

double nowSerial() { return fromDateTime(QDateTime::currentDateTime()); }

double fromDateTime(const QDateTime& dt) {
  const double days = static_cast<double>(dt.date().toJulianDay() - kBaseJulianDay);
  const double time = dt.time().msecsSinceStartOfDay() / 86400000.0;
  return days >= 0 ? days + time : days - time;
}

QDateTime toDateTime(double serial) {
  QDate d;
  qint64 ms = 0;
  if (!splitSerial(serial, 86400000, &d, &ms)) return {};
  return QDateTime(d, QTime::fromMSecsSinceStartOfDay(static_cast<int>(ms)), Qt::UTC);
}

DateParts dateParts(double serial) {
  DateParts t;
  if (!partsOf(serial, &t)) return {};
  return t;
}

QString formatDateTime(double serial) {
  DateParts t;
  if (!partsOf(serial, &t)) return {};
  char buf[24];
  char* p = putDate(buf, t);
  *p++ = ' ';
  p = putTime(p, t);
  return QString::fromLatin1(buf, p - buf);
}

QString formatFileStamp(double serial) {
  DateParts t;
  if (!partsOf(serial, &t)) return {};
  char buf[16];
  char* p = put2(buf, t.year % 100);
  p = put2(p, t.month);
  p = put2(p, t.day);
  *p++ = '_';
  p = put2(p, t.hour);
  p = put2(p, t.minute);
  p = put2(p, t.second);
  return QString::fromLatin1(buf, p - buf);
}

QString formatGeneralDate(double serial) {
  DateParts t;
  if (!partsOf(serial, &t)) return {};
  char buf[24];
  char* p = putDate(buf, t);
  if (t.hour != 0 || t.minute != 0 || t.second != 0) {
    *p++ = ' ';
    p = putTime(p, t);
  }
  return QString::fromLatin1(buf, p - buf);
}

QString formatMonthDay(double serial) {
  DateParts t;
  if (!partsOf(serial, &t)) return {};
  return QString::number(t.month) + u'/' + QString::number(t.day);
}

QString formatTime(double serial) {
  DateParts t;
  if (!partsOf(serial, &t)) return {};
  char buf[12];
  char* p = putTime(buf, t);
  return QString::fromLatin1(buf, p - buf);
}

DayMonthOrder systemDayMonthOrder() {
  static const DayMonthOrder order = [] {
    const QString f = QLocale::system().dateFormat(QLocale::ShortFormat);
    const qsizetype d = f.indexOf(u'd');
    const qsizetype m = f.indexOf(u'M');
    return d >= 0 && m >= 0 && d < m ? DayMonthOrder::DayFirst : DayMonthOrder::MonthFirst;
  }();
  return order;
}

bool parseGeneralDate(const QString& text, double* out, DayMonthOrder order) {
  Cursor c{text};
  c.skipBlanks();
  double days = 0;
  double seconds = 0;
  bool haveDate = false;
  bool haveTime = false;

  const qsizetype start = c.i;
  int a = 0, digits = 0;
  if (c.number(4, &a, &digits) && c.peek() == u':') {
    c.i = start;  // a time alone
  } else if (digits > 0) {
    const char16_t sep = c.peek();
    if (sep != u'/' && sep != u'-' && sep != u'.') return false;
    ++c.i;
    int mo = 0, d = 0, lastDigits = 0;
    if (!c.number(2, &mo) || c.peek() != sep) return false;
    ++c.i;
    if (!c.number(4, &d, &lastDigits)) return false;
    int y = 0;
    if (digits <= 2 && lastDigits > 2) {
      // The year last: the first two fields are day and month in some order.
      y = d;
      d = order == DayMonthOrder::DayFirst ? a : mo;
      mo = order == DayMonthOrder::DayFirst ? mo : a;
    } else if (lastDigits > 2) {
      return false;
    } else {
      y = digits <= 2 ? twoDigitYear(a) : a;
    }
    if (y < 100 || y > 9999 || !QDate::isValid(y, mo, d)) return false;
    days = static_cast<double>(QDate(y, mo, d).toJulianDay() - kBaseJulianDay);
    haveDate = true;
    if (c.peek() == u'T') ++c.i;
  } else {
    return false;
  }
  c.skipBlanks();
  if (!c.atEnd()) {
    if (!parseTime(c, &seconds)) return false;
    haveTime = true;
    c.skipBlanks();
  }
  if (!c.atEnd() || (!haveDate && !haveTime)) return false;
  const double time = seconds / kSecondsPerDay;
  *out = days >= 0 ? days + time : days - time;
  return true;
}

QString formatHashDot00(double v) { return fixed2(v, false); }

QString format0_00(double v) { return fixed2(v, true); }

QString format00000(int v) {
  if (v < 0) return u'-' + format00000(-v);
  return QString::number(v).rightJustified(5, u'0');
}

QString format00(int v) {
  if (v < 0) return u'-' + format00(-v);
  return QString::number(v).rightJustified(2, u'0');
}

QString singleToString(float v) {
  if (std::isnan(v)) return QStringLiteral("NaN");
  if (std::isinf(v)) return v > 0 ? QStringLiteral("Infinity") : QStringLiteral("-Infinity");
  char buf[32];
  const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 7);
  QString s = QString::fromLatin1(buf, r.ptr - buf);
  s.replace(u'e', u'E');
  return s;
}

QString strWithBlank(qint64 v) { return v >= 0 ? u' ' + QString::number(v) : QString::number(v); }

double val(const QString& text) {
  // Keep only what can make up a number, in the order it appears.
  std::string s;
  s.reserve(static_cast<size_t>(qMin<qsizetype>(text.size(), 64)));
  for (const QChar ch : text) {
    const char16_t c = ch.unicode();
    if (c == u' ' || c == u'\t' || c == u'\n') continue;
    if (c > 0x7F) break;
    s.push_back(static_cast<char>(c));
  }

  if (s.size() >= 2 && s[0] == '&' && (s[1] == 'H' || s[1] == 'h' || s[1] == 'O' || s[1] == 'o')) {
    const bool hex = s[1] == 'H' || s[1] == 'h';
    quint64 v = 0;
    int n = 0;
    for (size_t i = 2; i < s.size() && n < 16; ++i, ++n) {
      const char c = s[i];
      int d = -1;
      if (c >= '0' && c <= '7')
        d = c - '0';
      else if (hex && (c == '8' || c == '9'))
        d = c - '0';
      else if (hex && c >= 'a' && c <= 'f')
        d = c - 'a' + 10;
      else if (hex && c >= 'A' && c <= 'F')
        d = c - 'A' + 10;
      if (d < 0) break;
      v = v * (hex ? 16 : 8) + static_cast<quint64>(d);
    }
    // Short literals are 16-bit and longer ones 32-bit signed values.
    if (v <= 0xFFFF)
      return v >= 0x8000 ? static_cast<double>(static_cast<qint64>(v) - 0x10000)
                         : static_cast<double>(v);
    if (v <= 0xFFFFFFFFull)
      return v >= 0x80000000ull ? static_cast<double>(static_cast<qint64>(v) - 0x100000000ll)
                                : static_cast<double>(v);
    return static_cast<double>(v);
  }

  // [sign] digits [. digits] [E|D [sign] digits]
  std::string num;
  size_t i = 0;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
    if (s[i] == '-') num.push_back('-');
    ++i;
  }
  bool anyDigit = false;
  int leadingIntDigits = 0;  // significant digits before the point, for range checks
  bool significant = false;
  while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
    if (s[i] != '0') significant = true;
    if (significant) ++leadingIntDigits;
    num.push_back(s[i++]);
    anyDigit = true;
  }
  if (i < s.size() && s[i] == '.') {
    num.push_back('.');
    ++i;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
      num.push_back(s[i++]);
      anyDigit = true;
    }
  }
  if (!anyDigit) return 0;
  long long exponent = 0;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E' || s[i] == 'd' || s[i] == 'D')) {
    size_t j = i + 1;
    std::string e = "e";
    if (j < s.size() && (s[j] == '+' || s[j] == '-')) e.push_back(s[j++]);
    if (j < s.size() && s[j] >= '0' && s[j] <= '9') {
      bool negativeExp = e.size() == 2 && e[1] == '-';
      while (j < s.size() && s[j] >= '0' && s[j] <= '9') {
        if (exponent < 100000) exponent = exponent * 10 + (s[j] - '0');
        e.push_back(s[j++]);
      }
      if (negativeExp) exponent = -exponent;
      num += e;
    }
  }
  double v = 0;
  const char* first = num.data();
  const char* last = num.data() + num.size();
  const bool negative = !num.empty() && num[0] == '-';
  const auto r = std::from_chars(negative ? first + 1 : first, last, v);
  if (r.ec == std::errc::result_out_of_range) {
    // Too large is +-infinity; too small is zero.
    const bool tooLarge = leadingIntDigits + exponent > 0;
    v = tooLarge ? std::numeric_limits<double>::infinity() : 0.0;
  } else if (r.ec != std::errc()) {
    v = 0;
  }
  return negative ? -v : v;
}

QString intervalText(qint64 seconds) {
  QString t;
  if (seconds / 60 >= 1) t = QString::number(seconds / 60) + QStringLiteral(" Min");
  if (seconds % 60 >= 1) t += QString::number(seconds % 60) + QStringLiteral(" Sec");
  return t;
}

int boundDegrees(qint32 raw) { return static_cast<int>(std::floor(celsiusFromCount(raw) + 0.5)); }

QString boundText(qint32 raw, bool on) {
  return on ? QString::number(boundDegrees(raw)) : QStringLiteral("OFF");
}

bool degreesToRawChecked(double deg, qint32* out) {
  const double r = std::nearbyint(countFromCelsius(deg));
  if (!(r >= std::numeric_limits<qint32>::min() && r <= std::numeric_limits<qint32>::max()))
    return false;
  *out = static_cast<qint32>(r);
  return true;
}

qint32 degreesToRaw(double deg) {
  qint32 raw = 0;
  if (degreesToRawChecked(deg, &raw)) return raw;
  return deg > 0 ? std::numeric_limits<qint32>::max() : std::numeric_limits<qint32>::min();
}

}  // namespace hygro::fmt
