#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/application.h"
#include "platform/bluetooth_central.h"
#include "platform/clock.h"
#include "platform/defaults_store.h"
#include "platform/dispatch_queue.h"
#include "platform/http_client.h"
#include "platform/image_codec.h"
#include "platform/location_service.h"
#include "platform/log.h"
#include "platform/reachability_probe.h"
#include "platform/user_notification_center.h"

namespace vicinix {

// The screens' toolkit (ui/toolkit.h). Only declared here: the platform layer
// carries it without depending on the screens.
class Toolkit;

// The per-user directories the SDK writes to, given by the host.
struct AppDirectories {
  std::filesystem::path library;    // <app-data>/Library
  std::filesystem::path documents;  // <app-data>/Documents

  static AppDirectories under(const std::filesystem::path& appData) {
    return {appData / "Library", appData / "Documents"};
  }
};

// What the request headers say about the device.
struct DeviceInfo {
  std::string model;      // hardware identifier, e.g. "x86_64"
  std::string osVersion;  // e.g. the kernel release "6.1.0-18-amd64"
};

// Every platform service the SDK uses, in one bundle.
struct Platform {
  std::shared_ptr<DispatchQueueFactory> queues;
  std::shared_ptr<Clock> clock;
  std::shared_ptr<DefaultsStore> defaults;
  std::shared_ptr<HttpClient> http;
  std::shared_ptr<ReachabilityProbe> reachability;
  std::shared_ptr<LocationService> location;
  BluetoothCentralFactory bluetooth;
  std::shared_ptr<UserNotificationCenter> notifications;
  std::shared_ptr<ImageCodec> images;
  std::shared_ptr<Application> application;
  std::shared_ptr<Log> log;
  // Null in a headless host: screens are then presented without views.
  std::shared_ptr<Toolkit> toolkit = nullptr;
  AppDirectories directories;
  DeviceInfo device;
};

}  // namespace vicinix
