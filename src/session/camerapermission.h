#pragma once

#include <QtGlobal>

#include <functional>

class QObject;

// Camera permission through Qt where Qt has it (6.5 on); older Qt has no permission API and,
// like Qt itself on Linux, this layer then reports the permission as granted.
namespace CameraPermission {
enum class Status { Undetermined, Granted, Denied };

Status check();
// Asks the platform; the handler runs on the context's thread and dies with the context.
void request(QObject *context, std::function<void(Status)> handler);
} // namespace CameraPermission
