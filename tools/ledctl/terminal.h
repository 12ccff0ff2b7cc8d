// What the terminal can do, and what its user wants of it: asked once, the same for every command.
#pragma once

#include <functional>

#include "tools/ledctl/robot_picture.h"
#include "tools/ledctl/watch_view.h"

namespace ledctl {

struct Terminal {
  bool canDraw = false;      // standard output is one that moves its cursor, and may
  bool canProgress = false;  // the same of standard error
  bool hasColor = false;     // standard output may be coloured
  Palette palette;
};

/// `isOut`, `isErr`: whether standard output and error are terminals. `variable` gives the value of
/// an environment variable or null: NO_COLOR (any text) means no colours, TERM=dumb nothing drawn
/// in place either; COLORTERM tells how many colours there are, LC_ALL, LC_CTYPE and LANG which
/// letters. `isPlain`: --plain was given, which means the same as TERM=dumb.
Terminal terminalOf(bool isOut, bool isErr, bool isPlain,
                    const std::function<const char*(const char*)>& variable);

/// Of this process.
Terminal thisTerminal(bool isPlain);

/// Of standard output; 24 x 80 where that cannot be told.
ScreenView::Size terminalSize();

}  // namespace ledctl
