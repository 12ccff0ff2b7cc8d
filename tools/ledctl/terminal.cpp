#include "tools/ledctl/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace ledctl {

Terminal terminalOf(bool isOut, bool isErr, bool isPlain,
                    const std::function<const char*(const char*)>& variable) {
  const auto text = [&](const char* name) {
    const char* const value = variable(name);
    return std::string_view(value == nullptr ? "" : value);
  };
  Terminal terminal;
  const bool isDumb = text("TERM") == "dumb";
  terminal.canProgress = isErr && !isPlain && !isDumb;
  terminal.canDraw = isOut && !isPlain && !isDumb;
  terminal.hasColor = terminal.canDraw && variable("NO_COLOR") == nullptr;
  const bool isTrue = text("COLORTERM") == "truecolor" || text("COLORTERM") == "24bit";
  using Colors = Palette::Colors;
  terminal.palette.colors = !terminal.hasColor ? Colors::kNone
                            : isTrue           ? Colors::kTrue
                                               : Colors::kTable;
  std::string_view locale;
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    if (locale.empty()) locale = text(name);
  }
  terminal.palette.isUtf8 = locale.find("UTF-8") != std::string_view::npos ||
                            locale.find("utf8") != std::string_view::npos;
  return terminal;
}

Terminal thisTerminal(bool isPlain) {
  return terminalOf(isatty(STDOUT_FILENO) != 0, isatty(STDERR_FILENO) != 0, isPlain,
                    [](const char* name) -> const char* { return std::getenv(name); });
}

ScreenView::Size terminalSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return {24, 80};
  return {size.ws_row, size.ws_col};
}

}  // namespace ledctl
