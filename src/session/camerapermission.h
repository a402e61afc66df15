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

// Tests stand in for the platform's answers; null functions give the platform back.
using Checker = Status (*)();
using Requester = void (*)(QObject *context, std::function<void(Status)> handler);
void setPlatformForTesting(Checker checker, Requester requester);
} // namespace CameraPermission
