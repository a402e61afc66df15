#pragma once

#include <QString>

// Makes sure an ended recording is a file a player opens. A file cut short (the camera pulled,
// the disk full) loses its unfinished last box, so it plays up to there; a file without a single
// playable picture is removed. Returns whether a playable recording remains at `path`.
bool keepPlayablePart(const QString &path);
