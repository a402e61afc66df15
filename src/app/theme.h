#pragma once

class QApplication;

namespace Theme {
// The Fusion style, the window icon and the application style sheet, set once before any
// window exists.
void apply(QApplication &application);
} // namespace Theme
