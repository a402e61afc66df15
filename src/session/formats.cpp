#include "session/formats.h"

QCameraFormat chooseCompatibleFormat(const QList<QCameraFormat> &formats)
{
    const int index = compatibleFormatIndex(formats);
    return index >= 0 ? formats.at(index) : QCameraFormat();
}
