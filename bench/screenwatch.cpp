#include "screenwatch.h"

#include <QElapsedTimer>

#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/uio.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

// The DAMAGE extension's wire format (damageproto.h), written out because its client library
// headers are not installed.
namespace {
constexpr quint8 damageQueryVersion = 0;
constexpr quint8 damageCreate = 1;
constexpr quint8 reportRawRectangles = 0;

struct QueryVersionRequest
{
    quint8 majorOpcode;
    quint8 minorOpcode;
    quint16 length;
    quint32 majorVersion;
    quint32 minorVersion;
};

struct CreateRequest
{
    quint8 majorOpcode;
    quint8 minorOpcode;
    quint16 length;
    quint32 damage;
    quint32 drawable;
    quint8 level;
    quint8 pad[3];
};

struct NotifyEvent
{
    quint8 type;
    quint8 level;
    quint16 sequence;
    quint32 drawable;
    quint32 damage;
    quint32 timestamp;
    qint16 x, y;
    quint16 width, height;
    qint16 geometryX, geometryY;
    quint16 geometryWidth, geometryHeight;
};

// Sends one request of the DAMAGE extension; `reply` says whether the server answers it.
xcb_void_cookie_t send(xcb_connection_t *connection, void *request, size_t size, quint8 opcode,
                       bool reply)
{
    static xcb_extension_t extension = {"DAMAGE", 0};
    const xcb_protocol_request_t protocol = {1, &extension, opcode, quint8(reply ? 0 : 1)};
    iovec parts[4] = {};
    parts[2].iov_base = request;
    parts[2].iov_len = size;
    const unsigned int sequence = xcb_send_request(connection, 0, parts + 2, &protocol);
    return {sequence};
}
} // namespace

ScreenWatch::ScreenWatch()
{
    connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection))
        return;
    root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;

    const char name[] = "DAMAGE";
    xcb_query_extension_reply_t *extension = xcb_query_extension_reply(
        connection, xcb_query_extension(connection, strlen(name), name), nullptr);
    if (!extension || !extension->present) {
        free(extension);
        return;
    }
    damageOpcode = extension->major_opcode;
    damageFirstEvent = extension->first_event;
    free(extension);

    QueryVersionRequest version = {damageOpcode, damageQueryVersion, 3, 1, 1};
    const xcb_void_cookie_t asked =
        send(connection, &version, sizeof version, damageQueryVersion, true);
    free(xcb_wait_for_reply(connection, asked.sequence, nullptr));

    const quint32 id = xcb_generate_id(connection);
    CreateRequest create = {damageOpcode, damageCreate, 4, id, root, reportRawRectangles, {}};
    send(connection, &create, sizeof create, damageCreate, false);
    xcb_flush(connection);
    damage = id;
}

ScreenWatch::~ScreenWatch()
{
    xcb_disconnect(connection);
}

std::optional<ScreenWatch::Draw> ScreenWatch::next(int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (true) {
        while (xcb_generic_event_t *event = xcb_poll_for_event(connection)) {
            const bool drawn = (event->response_type & 0x7f) == damageFirstEvent;
            Draw draw;
            if (drawn) {
                const auto *notify = reinterpret_cast<const NotifyEvent *>(event);
                draw.area = QRect(notify->x, notify->y, notify->width, notify->height);
                draw.serverTime = notify->timestamp;
            }
            free(event);
            if (drawn)
                return draw;
        }
        const qint64 left = timeoutMs - clock.elapsed();
        if (left <= 0 || xcb_connection_has_error(connection))
            return std::nullopt;
        pollfd descriptor = {xcb_get_file_descriptor(connection), POLLIN, 0};
        poll(&descriptor, 1, int(left));
    }
}

QRgb ScreenWatch::pixel(QPoint at)
{
    xcb_get_image_reply_t *image =
        xcb_get_image_reply(connection,
                            xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root,
                                          qint16(at.x()), qint16(at.y()), 1, 1, ~0u),
                            nullptr);
    QRgb colour = 0;
    if (image && xcb_get_image_data_length(image) >= 4) {
        const quint8 *bytes = xcb_get_image_data(image);
        colour = qRgb(bytes[2], bytes[1], bytes[0]);
    }
    free(image);
    return colour;
}

void ScreenWatch::blank()
{
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_gcontext_t gc = xcb_generate_id(connection);
    const quint32 values[] = {screen->black_pixel, XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS};
    xcb_create_gc(connection, gc, root, XCB_GC_FOREGROUND | XCB_GC_SUBWINDOW_MODE, values);
    const xcb_rectangle_t all = {0, 0, screen->width_in_pixels, screen->height_in_pixels};
    xcb_poly_fill_rectangle(connection, root, gc, 1, &all);
    xcb_free_gc(connection, gc);
    free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    while (xcb_generic_event_t *event = xcb_poll_for_event(connection))
        free(event);
}
