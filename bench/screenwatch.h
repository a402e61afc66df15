#pragma once

#include <QRect>
#include <QRgb>

#include <optional>

struct xcb_connection_t;

// What reaches the X screen, seen from outside the program that draws it: every area drawn on
// the screen (X DAMAGE, raw rectangles on the root window) and the colour of a pixel.
class ScreenWatch
{
public:
    struct Draw
    {
        QRect area; // in screen coordinates
        quint32 serverTime = 0; // milliseconds, X server clock
    };

    ScreenWatch();
    ~ScreenWatch();
    ScreenWatch(const ScreenWatch &) = delete;
    ScreenWatch &operator=(const ScreenWatch &) = delete;

    // False when there is no display or it lacks the DAMAGE extension.
    bool isOpen() const { return damage != 0; }
    // The next area drawn, or nothing when none comes within timeoutMs.
    std::optional<Draw> next(int timeoutMs);
    QRgb pixel(QPoint at);
    // Paints the whole screen black, over any window, and forgets what was drawn until now: a
    // window that closed leaves its last picture on a screen without a root background.
    void blank();

private:
    xcb_connection_t *connection = nullptr;
    quint32 root = 0;
    quint32 damage = 0;
    quint8 damageOpcode = 0;
    quint8 damageFirstEvent = 0;
};
