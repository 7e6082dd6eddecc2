#pragma once
// The serial line between the program and the emulated logger: it assembles
// frames from whatever pieces the program writes, applies the fault settings,
// and schedules every answer byte at the moment it would have crossed a real
// line at the configured speed. It does no I/O and reads no clock: callers
// pass the time (microseconds of any monotonic clock), so the in-process
// transport and the pseudo-terminal host share it, and tests can drive it.
#include <QByteArray>
#include <QList>
#include <deque>
#include <random>

namespace hygro::sim {

class DeviceModel;

struct Faults {
  int refuseNext = 0;         // the next N frames are refused (0xEE 0xFF)
  int silenceNext = 0;        // the next N frames get no answer; -1: no frame ever does
  int delayMs = 0;            // extra time before every answer starts
  int delayJitterMs = 0;      // up to this much more, varying from answer to answer
  QByteArray garbageBefore;   // sent in front of every ordinary answer
  QByteArray garbageAfter;    // sent behind every ordinary answer
  int stallAfterPoints = -1;  // a point stream stops after this many points; -1: never
  int lateNext = 0;           // the next N answers come lateMs later still
  int lateMs = 0;
  int truncateNext = 0;        // the next N answers lose their last kTruncatedBytes
  int floodNext = 0;           // the next N answers are replaced by kFloodBytes of noise
  int unplugOnCode = -1;       // a frame with this command code pulls the logger out
  int unplugAfterPoints = -1;  // a point stream pulls the logger out after K points
};

// An answer cut short loses this many bytes at its end, the terminator among them.
inline constexpr int kTruncatedBytes = 3;
// Noise without a terminator, longer than any receive buffer the program has.
inline constexpr int kFloodBytes = 120;

class SimLine {
 public:
  explicit SimLine(DeviceModel& model);

  // Line speed for pacing; 0 delivers every answer as soon as it is made.
  void setBaud(int baud);
  int baud() const { return m_baud; }
  // Wire time of one byte (start bit, 8 data bits, stop bit), in microseconds.
  double byteMicros() const;

  Faults& faults() { return m_faults; }
  const Faults& faults() const { return m_faults; }

  // Bytes the program wrote at time nowUs. They cross the line one after the
  // other; each frame is answered when its last byte has arrived.
  void receive(const QByteArray& bytes, qint64 nowUs);

  bool hasPending() const { return !m_out.empty(); }
  // When the first byte still on the line is due; -1 when nothing is pending.
  qint64 nextByteDue() const;
  // When the whole answer at the head of the line is due; -1 when none.
  qint64 headAnswerDue() const;
  // Whether the head answer is the last one scheduled (nothing queued behind).
  bool headIsLast() const { return m_out.size() == 1; }
  // Every byte whose wire time has passed by nowUs, in order.
  QByteArray takeDue(qint64 nowUs);

  // Drops everything in flight and any half-received frame (port closed).
  void reset();

  // The logger has been pulled out: the host closes the line once
  // everything due before (the points of a stream cut short) has gone.
  bool unplugRequested() const { return m_unplug; }
  bool unplugDue() const { return m_unplug && m_out.empty(); }

  int framesReceived() const { return m_frames; }
  int initialiseCount() const { return m_inits; }

 private:
  struct Chunk {
    QByteArray bytes;
    double startUs = 0;  // the first byte begins here
    qsizetype sent = 0;  // bytes already handed out
  };
  void complete(double arrivedUs);
  void schedule(const QByteArray& bytes, double readyUs);
  qint64 dueOf(const Chunk& c, qsizetype index) const;

  DeviceModel& m_model;
  Faults m_faults;
  int m_baud = 0;
  QByteArray m_in;
  // Times are kept unrounded so that long runs do not drift.
  double m_inFreeUs = 0;   // the program-to-logger line is busy until then
  double m_outFreeUs = 0;  // the logger-to-program line is busy until then
  std::deque<Chunk> m_out;
  int m_frames = 0;
  int m_inits = 0;
  bool m_unplug = false;
  std::minstd_rand m_jitter{20240501};  // fixed seed: a run can be repeated
};

}  // namespace hygro::sim
