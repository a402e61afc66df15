// Renders the application artwork (an SVG) into the window icon (a 256-pixel PNG) and the
// Windows executable icon (an .ico whose images are PNG-compressed, one per size).
// Usage: tarvelo_iconrender ARTWORK.svg OUT.png OUT.ico
#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QtEndian>

#include <cstdio>

namespace {
constexpr int sizes[] = {16, 24, 32, 48, 64, 128, 256};

QByteArray renderPng(QSvgRenderer &artwork, int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    artwork.render(&painter, QRectF(0, 0, size, size));
    painter.end();

    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.convertToFormat(QImage::Format_ARGB32).save(&buffer, "png");
    return png;
}

template<typename T> void append(QByteArray &data, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    data.append(bytes, sizeof(T));
}

// ICONDIR, then one ICONDIRENTRY per image, then the images; a width or height of 0 means 256.
QByteArray iconFile(const QList<QByteArray> &images)
{
    QByteArray ico;
    append<quint16>(ico, 0);
    append<quint16>(ico, 1);
    append<quint16>(ico, quint16(images.size()));
    quint32 offset = 6 + 16 * quint32(images.size());
    for (qsizetype i = 0; i < images.size(); ++i) {
        const auto dimension = quint8(sizes[i] % 256);
        ico.append(char(dimension)).append(char(dimension)).append(2, '\0');
        append<quint16>(ico, 1); // planes
        append<quint16>(ico, 32); // bits per pixel
        append<quint32>(ico, quint32(images[i].size()));
        append<quint32>(ico, offset);
        offset += quint32(images[i].size());
    }
    for (const QByteArray &image : images)
        ico.append(image);
    return ico;
}

bool write(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.flush();
}
} // namespace

int main(int argc, char *argv[])
{
    // No QGuiApplication: painting into an image needs no platform plug-in, which keeps the tool
    // runnable in any build environment.
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4) {
        std::fputs("usage: tarvelo_iconrender ARTWORK.svg OUT.png OUT.ico\n", stderr);
        return 2;
    }
    QSvgRenderer artwork(arguments[1]);
    if (!artwork.isValid()) {
        std::fprintf(stderr, "tarvelo_iconrender: cannot read %s\n", qPrintable(arguments[1]));
        return 1;
    }

    QList<QByteArray> images;
    for (int size : sizes)
        images << renderPng(artwork, size);
    if (!write(arguments[2], images.last()) || !write(arguments[3], iconFile(images))) {
        std::fputs("tarvelo_iconrender: cannot write the icons\n", stderr);
        return 1;
    }
    return 0;
}
