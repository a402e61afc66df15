#pragma once

#include <QCameraFormat>
#include <QList>
#include <QString>

// Largest picture first; among equal sizes the higher maximum frame rate first.
bool formatPrecedes(const QCameraFormat &a, const QCameraFormat &b);

// Lower is better: closest to 1920 × 1080 at no more than 30 fps.
qint32 compatibleFormatScore(const QCameraFormat &format);

// The format a camera that gave no picture is retried with; null when the list is empty.
// Among equal scores the earliest listed format wins.
QCameraFormat chooseCompatibleFormat(const QList<QCameraFormat> &formats);

// "1920 × 1080   30 fps"
QString formatItemText(const QCameraFormat &format);
