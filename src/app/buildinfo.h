#pragma once

#include <QString>

namespace BuildInfo {
QString version();
// 40 hex digits: the source revision the program was built from.
QString buildId();
} // namespace BuildInfo
