// plot: the two graphs of a CSV file as one PNG picture, drawn as the window
// draws them just after opening the file.
#include <QBuffer>
#include <QDir>
#include <QImage>
#include <cmath>

#include "cli/cli.h"
#include "data/csv.h"
#include "graph/render_graph.h"

namespace hygro::cli {

namespace {

const QString kCmd = QStringLiteral("plot");
constexpr int kMinSide = 100;
constexpr int kMaxSide = 10000;

bool parseSize(const QString& text, int* w, int* h) {
  const QStringList parts = text.toLower().split(QLatin1Char('x'));
  if (parts.size() != 2) return false;
  bool okW = false, okH = false;
  *w = parts[0].toInt(&okW);
  *h = parts[1].toInt(&okH);
  return okW && okH && *w >= kMinSide && *w <= kMaxSide && *h >= kMinSide && *h <= kMaxSide;
}

// "CENTRE:HALF" in units, each to a tenth, within the bars' ranges.
bool parseRange(const QString& text, const QString& option, double centreMin, double centreMax,
                double halfMax, int* centreTenths, int* halfTenths, QString* error) {
  const QStringList parts = text.split(QLatin1Char(':'));
  bool okC = false, okH = false;
  const double c = parts.size() == 2 ? parts[0].toDouble(&okC) : 0;
  const double h = parts.size() == 2 ? parts[1].toDouble(&okH) : 0;
  if (!okC || !okH || !std::isfinite(c) || !std::isfinite(h) || c < centreMin || c > centreMax ||
      h < 0.5 || h > halfMax) {
    *error = QStringLiteral(
                 "--%1 takes CENTRE:HALF, a centre from %2 to %3 and a half-range "
                 "from 0.5 to %4 (\"%5\")")
                 .arg(option)
                 .arg(centreMin)
                 .arg(centreMax)
                 .arg(halfMax)
                 .arg(text);
    return false;
  }
  *centreTenths = static_cast<int>(std::lround(c * 10));
  *halfTenths = static_cast<int>(std::lround(h * 10));
  return true;
}

bool parseSeconds(const QString& text, const QString& option, qint64 min, qint64* out,
                  QString* error) {
  bool ok = false;
  const qint64 v = text.toLongLong(&ok);
  if (!ok || v < min || v > 100LL * 365 * 86400) {
    *error = QStringLiteral("--%1 takes a whole number of seconds (\"%2\")").arg(option, text);
    return false;
  }
  *out = v;
  return true;
}

int toSteps(qint64 seconds, double unit) {
  return static_cast<int>(std::min<double>(std::llround(seconds / unit), 1 << 30));
}

int runPlot(const GlobalOptions&, const ParsedArgs& args) {
  if (!args.positional.isEmpty())
    return usageError(QStringLiteral("plot takes no arguments besides its options"), kCmd);
  const QString csv = args.value(QStringLiteral("csv"));
  const QString png = args.value(QStringLiteral("png"));
  if (csv.isEmpty()) return usageError(QStringLiteral("--csv needs the file to draw"), kCmd);
  if (png.isEmpty()) return usageError(QStringLiteral("--png needs the picture to write"), kCmd);

  int width = 1280, height = 800;
  if (args.has(QStringLiteral("size")) &&
      !parseSize(args.value(QStringLiteral("size")), &width, &height))
    return usageError(QStringLiteral("--size takes WIDTHxHEIGHT, each from %1 to %2 pixels")
                          .arg(kMinSide)
                          .arg(kMaxSide),
                      kCmd);
  QString error;
  qint64 span = -1, position = -1;
  if (args.has(QStringLiteral("span")) &&
      !parseSeconds(args.value(QStringLiteral("span")), QStringLiteral("span"), 1, &span, &error))
    return usageError(error, kCmd);
  if (args.has(QStringLiteral("position")) &&
      !parseSeconds(args.value(QStringLiteral("position")), QStringLiteral("position"), 0,
                    &position, &error))
    return usageError(error, kCmd);
  int tCentre = 0, tHalf = 0, hCentre = 0, hHalf = 0;
  const bool tRange = args.has(QStringLiteral("temperature-range"));
  const bool hRange = args.has(QStringLiteral("humidity-range"));
  if (tRange &&
      !parseRange(args.value(QStringLiteral("temperature-range")),
                  QStringLiteral("temperature-range"), -40, 100, 100, &tCentre, &tHalf, &error))
    return usageError(error, kCmd);
  if (hRange && !parseRange(args.value(QStringLiteral("humidity-range")),
                            QStringLiteral("humidity-range"), 0, 100, 60, &hCentre, &hHalf, &error))
    return usageError(error, kCmd);

  if (const int rc = outputIsInput(QStringLiteral("png"), png, {csv}, kCmd)) return rc;
  if (!outputWritable(png, args.has(kOverwrite), &error)) {
    err(QStringLiteral("File error"));
    err(QStringLiteral("%1: cannot write %2: %3")
            .arg(kProgram, QDir::toNativeSeparators(png), error));
    return kExitFailure;
  }

  // The file set, in memory only: nothing here is ever saved.
  CliPrompt prompt;
  DataSets sets(&prompt);
  if (Csv_Read(sets, csv, prompt, QString()) != CsvOpenResult::Opened) return kExitFailure;
  if (sets.info(FileData).Points <= 0) {
    err(QStringLiteral("%1: %2 holds no records to draw").arg(kProgram, csv));
    return kExitFailure;
  }

  // As the window: the bars' limits follow the file, then the user moves
  // the bars, and every move recomputes the limits.
  ScrollState bars = Scroll_Set(sets, FileData, InitialScrollState(), false);
  if (span > 0) {
    for (BarState* b : {&bars.HScroll1, &bars.HScroll3})
      b->value = b->clamp(toSteps(span, bars.ScrollUnit));
    bars = Scroll_Set(sets, FileData, bars, false);
  }
  if (position >= 0) {
    for (BarState* b : {&bars.HScroll2, &bars.HScroll4})
      b->value = b->clamp(toSteps(position, bars.ScrollUnit));
    bars = Scroll_Set(sets, FileData, bars, false);
  }
  if (tRange) {
    bars.VScroll1.value = bars.VScroll1.clamp(tHalf);
    bars.VScroll2.value = tCentre;
  }
  if (hRange) {
    bars.VScroll3.value = bars.VScroll3.clamp(hHalf);
    bars.VScroll4.value = hCentre;
  }
  bars = Scroll_Set(sets, FileData, bars, false);

  QImage image(width, height, QImage::Format_RGB32);
  image.fill(Qt::black);
  const GraphColorTable colors = Graph_Color_Set();
  {
    Surface top(image, QRect(0, 0, width, height / 2));
    Temp_Graph(top, sets, FileData, bars, colors);
  }
  {
    Surface bottom(image, QRect(0, height / 2, width, height - height / 2));
    Humi_Graph(bottom, sets, FileData, bars, colors);
  }

  // Written whole or not at all.
  QBuffer picture;
  picture.open(QIODevice::WriteOnly);
  if (!image.save(&picture, "PNG") || !writeOutput(png, picture.data(), &error)) {
    err(QStringLiteral("File error"));
    err(QStringLiteral("%1: cannot write %2").arg(kProgram, error));
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

Command plotCommand() {
  return {kCmd,
          QStringLiteral("draw the graphs of a CSV file into a PNG picture"),
          QStringLiteral(
              "Usage: hygrotab-cli plot --csv IN.csv --png OUT.png [--overwrite]\n"
              "                         [--size WIDTHxHEIGHT]\n"
              "                         [--span SECONDS] [--position SECONDS]\n"
              "                         [--temperature-range CENTRE:HALF]\n"
              "                         [--humidity-range CENTRE:HALF]\n"
              "\n"
              "Reads a CSV file as the window's File open does and draws its temperature\n"
              "graph over its humidity graph, as the window shows them just after opening\n"
              "the file: the whole file, 0 to 40 C and 0 to 100 %.\n"
              "\n"
              "  --png OUT.png         the picture to write; - writes it to stdout, a device\n"
              "                        or a pipe is written to in place\n"
              "  --overwrite           replace OUT.png when it exists (never IN.csv)\n"
              "  --size WIDTHxHEIGHT   picture size in pixels (default 1280x800)\n"
              "  --span SECONDS        time shown across each graph\n"
              "  --position SECONDS    how far the right edge lies before the newest record\n"
              "  --temperature-range CENTRE:HALF\n"
              "                        value axis of the temperature graph, in degrees C:\n"
              "                        CENTRE - HALF to CENTRE + HALF (\"20:5\")\n"
              "  --humidity-range CENTRE:HALF\n"
              "                        the same for the humidity graph, in %RH\n"
              "\n"
              "Span and position move in the steps of the window's scroll bars and stop\n"
              "at their ends. Exit status 1 when the file cannot be read or holds no\n"
              "records, or the picture cannot be written (no picture is left then) or\n"
              "exists without --overwrite; 2 when OUT.png is IN.csv."),
          {{QStringLiteral("csv"), true},
           {QStringLiteral("png"), true},
           {QStringLiteral("size"), true},
           {QStringLiteral("span"), true},
           {QStringLiteral("position"), true},
           {QStringLiteral("temperature-range"), true},
           {QStringLiteral("humidity-range"), true},
           {kOverwrite, false}},
          runPlot};
}

}  // namespace hygro::cli
