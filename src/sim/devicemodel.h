#pragma once
// The emulated logger as the program sees it: its memory, its status bytes,
// its clock and its recording. It does no I/O of its own: it takes complete
// command frames and hands back the answers, so the same model serves the
// in-process transport, the pseudo-terminal host and the tests.
#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QString>
#include <array>
#include <cstdint>
#include <functional>

namespace hygro::sim {

class DeviceModel : public QObject {
  Q_OBJECT
 public:
  static constexpr int kMemorySize = 0x10000;
  static constexpr int kPointBytes = 60000;  // 15000 points of 4 bytes
  static constexpr int kCapacity = kPointBytes / 4;
  static constexpr int kSegmentTable = 0xF000;
  static constexpr int kSegmentEntries = (kMemorySize - kSegmentTable) / 8;
  static constexpr std::uint8_t kUnitSeconds = 0x82;
  static constexpr std::uint8_t kUnitMinutes = 0x83;

  enum StateBit : std::uint8_t {
    Recording = 0x01,
    Recording2 = 0x02,
    Reserved = 0x04,
    Error = 0x08,
    LowVoltageStop = 0x10,
  };

  struct Interval {
    std::uint8_t unit = kUnitMinutes;
    std::uint8_t value = 1;
    int seconds() const;
  };

  struct Bound {
    int raw = 0;  // sensor counts, 15 bits
    bool on = false;
  };

  struct Raw {
    int t = 0;
    int h = 0;
  };

  explicit DeviceModel(QObject* parent = nullptr);

  // ---- conversation
  // One complete frame (8 value bytes and the 0xFF terminator). Returns the
  // answers in order: none (no answer), one, or one per point for the stream.
  QList<QByteArray> handleFrame(const QByteArray& frame);
  // The raw initialise sequence: memory, table and settings back to a fresh logger.
  void initialise();
  // A logger as it leaves the factory: every word of its memory erased, so the
  // start time, bytes in use, both intervals, bounds, name, reservation,
  // memory mode, wrap count and downloaded flag all read 0xFF until the
  // program writes them. Model, battery, clock and state bits are kept.
  void factoryFresh();

  // ---- time
  // The model reads a monotonic millisecond counter. By default it is real
  // elapsed time; setManualTime() freezes it so tests move it with advance().
  void setManualTime(bool manual = true);
  void setTimeSource(std::function<qint64()> msecs);  // any monotonic source
  void advance(qint64 ms);                            // manual time only
  qint64 nowMs() const;
  // Brings recording and the reserved start up to the present. Every frame and
  // advance() call it; a host may call it from a timer to keep state fresh.
  void update();

  // The logger's own wall clock (naive time held as Qt::UTC).
  QDateTime clock() const;
  void setClock(const QDateTime& naiveTime);
  // A fault: the clock runs on but every setting (1, 2, 3) is acknowledged
  // and ignored.
  void setClockStuck(bool stuck) { m_clockStuck = stuck; }

  // ---- state (JSON loading, tests, demo)
  bool loadJson(const QByteArray& json, QString* error = nullptr);
  bool loadFile(const QString& path, QString* error = nullptr);

  QString model() const { return m_model; }
  void setModel(const QString& model);
  QByteArray versionText() const { return m_versionText; }
  void setVersionText(const QByteArray& text);  // 0xFF bytes are dropped
  std::uint8_t firmware() const { return m_firmware; }
  void setFirmware(std::uint8_t b) { m_firmware = b == 0xFF ? 0xFE : b; }
  QByteArray name() const;
  void setName(const QByteArray& fourChars);
  double battery() const { return m_battery; }
  void setBattery(double volts) { m_battery = volts; }
  std::uint8_t stateBits() const { return m_state; }
  void setStateBits(std::uint8_t bits);
  bool isRecording() const { return (m_state & (Recording | Recording2)) != 0; }
  bool isReserved() const { return (m_state & Reserved) != 0; }

  // Start time of the held log; invalid = the six bytes are 0xFF (fresh).
  QDateTime startTime() const { return m_startTime; }
  void setStartTime(const QDateTime& t) { m_startTime = t; }
  Interval interval() const { return m_interval; }
  void setInterval(Interval i) { m_interval = i; }
  Interval nextInterval() const { return m_next; }
  void setNextInterval(Interval i) { m_next = i; }
  void setReservation(int day, int hour, int minute);
  int reserveDay() const { return m_resDay; }
  int reserveHour() const { return m_resHour; }
  int reserveMinute() const { return m_resMinute; }

  bool loopMode() const { return m_loop; }
  void setLoopMode(bool loop) { m_loop = loop; }
  int wrapped() const { return m_wrapped; }
  void setWrapped(int w) { m_wrapped = w < 0 ? 0 : (w > 255 ? 255 : w); }
  Bound upper() const { return m_upper; }
  Bound lower() const { return m_lower; }
  void setUpper(Bound b) { m_upper = b; }
  void setLower(Bound b) { m_lower = b; }

  int recordedBytes() const { return m_recorded; }
  void setRecordedBytes(int bytes);
  void setCount38(int bytes) { m_count38 = bytes; }  // -1: same as recordedBytes
  bool downloaded() const { return m_downloaded; }
  void setDownloaded(bool d) { m_downloaded = d; }

  // Points held (one-time: up to the write position; loop after a wrap: all).
  int pointsHeld() const;
  Raw pointAt(int index) const;
  // Replaces the log's points (stored values: low resolution for logs of 2 s
  // or less is the caller's business) and sets recordedBytes to match.
  void setPoints(const QList<Raw>& points);
  void setPointsFromMemory(int count);  // recordedBytes from points already written

  // Segment table entries (start, count); writing an invalid start stores 0xFF.
  void eraseSegments();
  void setSegment(int index, const QDateTime& start, int count);

  const std::array<std::uint8_t, kMemorySize>& memory() const { return m_mem; }
  std::uint8_t* memoryData() { return m_mem.data(); }

  // Environment the sensor measures; with vary on it drifts slowly with the
  // logger's clock (a fixed function of the clock, so still deterministic).
  void setEnvironment(double celsius, double rh, bool vary = false);
  double environmentT() const { return m_envT; }
  double environmentH() const { return m_envH; }
  // Full-resolution raw counts of a physical reading, rounded to the nearest count.
  static Raw toRaw(double celsius, double rh);
  Raw lastMeasurement() const { return m_last; }
  bool lowResolution() const { return m_lowRes; }

 Q_SIGNALS:
  void pointRecorded(int index);
  void recordingStarted();
  void recordingStopped();

 private:
  QByteArray ordinary(int code, int d1, int d2) const;
  void startRecording(Interval iv, const QDateTime& start, qint64 startMs);
  void stopRecording();
  void recordPoint(const QDateTime& at);
  void measure();
  Raw sample(const QDateTime& at, bool lowRes) const;
  void armReservation();
  void writeSegmentCount();
  std::uint8_t statusByte(int address) const;
  QList<QByteArray> stream(int endAddress) const;
  bool setClockParts(int y, int mo, int d, int h, int mi, int s);

  std::array<std::uint8_t, kMemorySize> m_mem{};

  QString m_model = QStringLiteral("QM720-XC");
  QByteArray m_versionText = "QM720-XC V1";
  std::uint8_t m_firmware = 2;
  std::array<std::uint8_t, 4> m_name{{' ', ' ', ' ', ' '}};
  double m_battery = 3.0;
  std::uint8_t m_state = 0;
  QDateTime m_startTime;  // invalid: fresh
  Interval m_interval;
  Interval m_next;
  int m_resDay = 1, m_resHour = 0, m_resMinute = 0;
  QDateTime m_resAt;  // when the armed reservation fires (logger clock)
  bool m_loop = false;
  int m_wrapped = 0;
  Bound m_upper, m_lower;
  int m_recorded = 0;
  int m_count38 = -1;
  bool m_downloaded = false;
  // Still erased since factoryFresh(): the memory mode (49 writes it) and the
  // downloaded flag (a recording or 56 writes it).
  bool m_loopErased = false;
  bool m_markErased = false;

  // Recording progress: points due by time t = m_anchorCount + (t - m_anchorMs) / interval.
  qint64 m_anchorMs = 0;
  qint64 m_anchorCount = 0;
  qint64 m_taken = 0;

  double m_envT = 24.4;
  double m_envH = 50.45;
  bool m_envVary = false;
  Raw m_last;
  bool m_lowRes = false;

  // Time: the clock is m_clockBase at monotonic m_clockSetMs.
  QElapsedTimer m_elapsed;
  std::function<qint64()> m_source;
  bool m_manual = false;
  qint64 m_manualMs = 0;
  QDateTime m_clockBase;
  qint64 m_clockSetMs = 0;
  bool m_clockStuck = false;
  bool m_updating = false;
};

}  // namespace hygro::sim
