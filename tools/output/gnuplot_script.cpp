#include "output/gnuplot_script.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <string_view>

#include "words/layout.h"
#include "words/numbers.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// Told apart by most colour-blind people (after Okabe and Ito), dark enough for thin lines.
constexpr std::array colors = {"#0072B2", "#D55E00", "#009E73", "#CC79A7",
                               "#8C6D00", "#56B4E9", "#000000", "#7F4FC9"};

struct Panel {
  std::string unit;
  std::vector<const PlotLine*> lines;
  std::string label;
  bool legend = true;  // needless when the label names the only line
};

// In which times are shown, where seconds would be numbers that nobody reads.
struct TimeUnit {
  const char* name;
  double seconds;
};

TimeUnit timeUnitOf(const Trace& trace) {
  const double run = trace.lastTime() - trace.firstTime();
  for (const TimeUnit unit : {TimeUnit{"d", 86400.0}, {"h", 3600.0}})
    if (run >= 10.0 * unit.seconds) return unit;
  return run >= 10'000.0 ? TimeUnit{"min", 60.0} : TimeUnit{"s", 1.0};
}

std::vector<Panel> panelsOf(const std::vector<PlotLine>& lines) {
  std::vector<Panel> panels;
  for (const PlotLine& line : lines) {
    auto panel = std::ranges::find(panels, shownUnit(*line.variable), &Panel::unit);
    if (panel == panels.end())
      panel = panels.insert(panel, Panel{shownUnit(*line.variable), {}, {}});
    panel->lines.push_back(&line);
  }
  return panels;
}

// A gnuplot string in which nothing is special.
std::string literal(std::string_view text) {
  std::string result = "'";
  for (const char character : printable(text)) {
    if (character == '\'') result += '\'';
    result += character;
  }
  return result + "'";
}

// An input that is held gets its corners here: what gnuplot draws "with steps" it cannot dash.
void writePoints(std::ostream& script, const TimeUnit& unit, const PlotLine& line) {
  double before = std::nan("");
  for (const PlotPoint& point : line.trace.points()) {
    const std::string time = numberText(point.time / unit.seconds);
    const double value = shownValue(*line.variable, point.value);
    if (line.held && std::isfinite(before) && before != value)
      script << time << ' ' << numberText(before) << '\n';
    // gnuplot breaks a line at an empty one, which is what a value that is none should look like.
    if (std::isfinite(value)) script << time << ' ' << numberText(value);
    before = value;
    script << '\n';
  }
}

// All panels have the same height: that of the longest legend, and less when there are many.
std::size_t heightOf(const std::vector<Panel>& panels) {
  std::size_t mostLines = 0;
  for (const Panel& panel : panels) mostLines = std::max(mostLines, panel.lines.size());
  const std::size_t least = panels.size() <= 2 ? 210 : panels.size() == 3 ? 180 : 160;
  return std::max(least, mostLines > 1 ? 40 + 23 * mostLines : 0);
}

void label(std::vector<Panel>& panels) {
  const std::size_t longest = heightOf(panels) / 7;  // in characters, which stand upright
  for (Panel& panel : panels) {
    const std::string& name = panel.lines.front()->variable->name;
    const std::string unit = panel.unit.empty() ? "" : "[" + panel.unit + "]";
    const std::string whole = name + (unit.empty() ? "" : " ") + unit;
    panel.legend = panel.lines.size() > 1 || widthOf(whole) > longest;
    panel.label = !panel.legend ? whole : unit.empty() ? "no unit" : unit;
  }
}

// gnuplot has no way to stop a legend from hiding the lines, so it stands beside the panels, as
// wide as its longest name; 0 when there is none.
std::size_t legendColumns(const std::vector<Panel>& panels) {
  std::size_t longest = 0;
  for (const Panel& panel : panels)
    if (panel.legend)
      for (const PlotLine* line : panel.lines)
        longest = std::max(longest, widthOf(line->variable->name));
  return longest == 0 ? 0 : std::clamp<std::size_t>(longest + 6, 10, 46);
}

void writeHead(std::ostream& script, const fs::path& file, PictureKind kind,
               const std::string& title, const std::vector<Panel>& panels) {
  constexpr std::size_t plotWidth = 760;
  const std::size_t legend = legendColumns(panels);
  const std::size_t width = plotWidth + 8 * legend;
  const std::size_t height = 90 + panels.size() * heightOf(panels);
  if (kind == PictureKind::svg) {
    script << "set terminal svg size " << width << ',' << height
           << " noenhanced background '#ffffff' font 'Helvetica,Arial,sans-serif,13'\n";
  } else {
    script << "set terminal pngcairo size " << 2 * width << ',' << 2 * height
           << " noenhanced background '#ffffff' font 'sans,13' fontscale 2 linewidth 2\n";
  }
  script << "set output " << literal(file.string()) << '\n'
         << "set border 3 linecolor '#555555'\n"
         << "set tics nomirror out scale 0.5 textcolor '#333333'\n"
         << "set grid linecolor '#d9d9d9' linewidth 0.6, linecolor '#d9d9d9' linewidth 0.6\n"
         << "set key at graph 1.02, graph 1 left top Left reverse vertical maxcols 1 samplen 1.6 "
            "spacing 1.15 "
            "textcolor '#222222'\n"
         << "set autoscale yfix\nset offsets 0, 0, graph 0.06, graph 0.06\n"
         << "set multiplot layout " << panels.size() << ",1 margins char 12, char " << legend + 3
         << ", char 3.5, char 2.5 spacing 0, char 1.6 title " << literal(title) << '\n';
}

void writeStyle(std::ostream& script, const PlotLine& line, std::size_t index) {
  const bool jumps = !line.driven && line.variable->variability != "continuous";
  script << (jumps ? "steps" : "lines") << " linewidth 1.8 linecolor '"
         << colors[index % colors.size()] << '\'' << (line.driven ? " dashtype '-'" : "");
}

}  // namespace

std::string gnuplotScript(const fs::path& file, PictureKind kind, const std::string& title,
                          const std::vector<PlotLine>& lines) {
  std::ostringstream script;
  const Trace& any = lines.front().trace;
  const TimeUnit unit = timeUnitOf(any);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    script << "$line" << i << " << END\n";
    writePoints(script, unit, lines[i]);
    script << "END\n";
  }
  std::vector<Panel> panels = panelsOf(lines);
  label(panels);
  writeHead(script, file, kind, title, panels);
  const double begin = any.firstTime() / unit.seconds, end = any.lastTime() / unit.seconds;
  script << "set xrange [" << numberText(begin) << ':' << numberText(end > begin ? end : begin + 1)
         << "]\n";
  for (const Panel& panel : panels) {
    const bool lowest = &panel == &panels.back();
    script << "set ylabel " << literal(panel.label) << " textcolor '#333333'\n";
    if (lowest)
      script << "set format x\nset xlabel 'time [" << unit.name << "]' textcolor '#333333'\n";
    else
      script << "set format x ''\n";
    script << "plot ";
    for (std::size_t i = 0; i < panel.lines.size(); ++i) {
      const PlotLine& line = *panel.lines[i];
      script << (i > 0 ? ", " : "") << "$line" << &line - lines.data() << " using 1:2 with ";
      writeStyle(script, line, i);
      script << (panel.legend ? " title " + literal(line.variable->name) : " notitle");
    }
    script << '\n';
  }
  script << "unset multiplot\nunset output\n";
  return script.str();
}
