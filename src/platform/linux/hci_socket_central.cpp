#include "platform/linux/hci_socket_central.h"

#include <linux/capability.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/linux/central_delegate_link.h"
#include "platform/linux/hci_scan_session.h"

namespace vicinix {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// The kernel's HCI socket interface (include/net/bluetooth/hci_sock.h),
// spelled out here: libbluetooth would bring its GPL to every host linking
// the SDK, for a handful of constants.
constexpr int kBtProtoHci = 1;
constexpr int kSolHci = 0;
constexpr int kHciFilterOption = 2;
constexpr unsigned short kHciChannelRaw = 0;
constexpr uint8_t kEventPacket = 0x04;
constexpr uint32_t kHciUpFlag = 1u << 0;

struct SockaddrHci {
  sa_family_t family;
  unsigned short device;
  unsigned short channel;
};

struct HciFilter {
  uint32_t typeMask;
  uint32_t eventMask[2];
  uint16_t opcode;
};

struct HciDeviceInfo {
  uint16_t id;
  char name[8];
  uint8_t address[6];
  uint32_t flags;
  uint8_t type;
  uint8_t features[8];
  uint32_t packetType;
  uint32_t linkPolicy;
  uint32_t linkMode;
  uint16_t aclMtu, aclPackets, scoMtu, scoPackets;
  uint32_t stats[10];
};
static_assert(sizeof(HciDeviceInfo) == 92, "must match struct hci_dev_info");
constexpr unsigned long kHciGetDeviceInfo = _IOR('H', 211, int);

// How often the adapter is looked at for coming, going, up and down.
constexpr auto kProbeInterval = 1s;
constexpr auto kCommandTimeout = 2s;

// The class appears when the kernel's Bluetooth core is loaded, and sysfs
// shows it in every network namespace, where the sockets are refused.
bool kernelHasBluetooth() {
  std::error_code error;
  return std::filesystem::exists("/sys/class/bluetooth", error);
}

bool hasNetRaw() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  // Cannot tell: let the kernel say no when it comes to it.
  if (syscall(SYS_capget, &header, data) != 0) return true;
  return (data[CAP_NET_RAW / 32].effective >> (CAP_NET_RAW % 32)) & 1u;
}

class HciSocketCentral final : public BluetoothCentral {
 public:
  HciSocketCentral(BluetoothCentralDelegate& delegate, std::shared_ptr<DispatchQueue> queue,
                   int index, std::shared_ptr<Log> log)
      : index_(index),
        name_("hci" + std::to_string(index)),
        log_(std::move(log)),
        link_(CentralDelegateLink::make(delegate, *this, std::move(queue))),
        session_(name_),
        wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        wakeError_(wake_ < 0 ? errno : 0) {
    thread_ = std::thread([this] { run(); });
  }

  ~HciSocketCentral() override {
    link_->detach();
    stop_.store(true);
    wake();
    thread_.join();
    if (wake_ >= 0) ::close(wake_);
  }

  BluetoothCentralState state() const override { return state_.load(); }

  void scanForPeripherals(const std::vector<std::string>& serviceUUIDs,
                          bool allowDuplicates) override {
    enqueue([serviceUUIDs, allowDuplicates](HciScanSession& session) {
      return session.scan(serviceUUIDs, allowDuplicates);
    });
  }

  void stopScan() override {
    enqueue([](HciScanSession& session) { return session.stop(); });
  }

 private:
  using Request = std::function<HciScanSession::Effects(HciScanSession&)>;

  void enqueue(Request request) {
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(std::move(request));
    }
    wake();
  }

  void wake() {
    uint64_t one = 1;
    if (wake_ >= 0) (void)!::write(wake_, &one, sizeof one);
  }

  // Everything below runs on the central's thread.

  void warn(const std::string& line) {
    if (log_) log_->systemLine("Bluetooth: " + line);
  }

  void setState(BluetoothCentralState state) {
    if (state_.exchange(state) != state) link_->postStateUpdate();
  }

  void refuse(int error) {
    HciRefusal refusal = hciRefusalFor(error, index_, kernelHasBluetooth());
    warn(refusal.line);
    setState(refusal.state);
    refused_ = true;
  }

  // A raw socket seeing command answers and LE events only.
  int openSocket() {
    int fd = ::socket(AF_BLUETOOTH, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, kBtProtoHci);
    if (fd < 0) return -errno;
    HciFilter filter{};
    filter.typeMask = 1u << kEventPacket;
    for (unsigned event : {0x0e, 0x0f, 0x3e}) filter.eventMask[event >> 5] |= 1u << (event & 31);
    if (setsockopt(fd, kSolHci, kHciFilterOption, &filter, sizeof filter) != 0) {
      int error = errno;
      ::close(fd);
      return -error;
    }
    return fd;
  }

  void run() {
    if (wake_ < 0) return refuse(wakeError_);
    int fd = openSocket();
    if (fd < 0) return refuse(-fd);
    socket_ = fd;
    // The socket opens without it; commands and LE events are what need it.
    if (!hasNetRaw()) {
      ::close(socket_);
      return refuse(EPERM);
    }
    while (!stop_.load() && !refused_) {
      auto now = Clock::now();
      if (now >= nextProbe_) {
        probeAdapter();
        nextProbe_ = now + kProbeInterval;
      }
      apply(session_.tick(now));
      auto until = nextProbe_;
      if (session_.awaitingReply()) until = std::min(until, commandDeadline_);
      if (auto tick = session_.nextTick()) until = std::min(until, *tick);
      int timeout = static_cast<int>(
          std::max<int64_t>(0, std::chrono::ceil<std::chrono::milliseconds>(until - now).count()));
      std::array<pollfd, 2> fds{pollfd{wake_, POLLIN, 0}, pollfd{bound_ ? socket_ : -1, POLLIN, 0}};
      if (poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) break;
      if (fds[0].revents & POLLIN) takeRequests();
      if (fds[1].revents & POLLIN) {
        readPackets();
      } else if (fds[1].revents & (POLLERR | POLLHUP)) {
        reopen();
      }
      if (session_.awaitingReply() && Clock::now() >= commandDeadline_)
        apply(session_.commandTimedOut());
    }
    if (socket_ >= 0) {
      // Best effort: left on, the controller would go on scanning for nobody.
      if (bound_ && session_.scanning()) {
        auto packet = session_.disableCommand();
        (void)!::write(socket_, packet.data(), packet.size());
      }
      ::close(socket_);
    }
  }

  void takeRequests() {
    uint64_t count = 0;
    (void)!::read(wake_, &count, sizeof count);
    std::vector<Request> requests;
    {
      std::lock_guard lock(mutex_);
      requests.swap(requests_);
    }
    for (auto& request : requests) apply(request(session_));
  }

  void probeAdapter() {
    HciDeviceInfo info{};
    info.id = static_cast<uint16_t>(index_);
    bool exists = ioctl(socket_, kHciGetDeviceInfo, &info) == 0;
    int error = exists ? 0 : errno;
    if (exists && !bound_) {
      SockaddrHci address{AF_BLUETOOTH, static_cast<unsigned short>(index_), kHciChannelRaw};
      if (bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        bound_ = true;
      } else {
        exists = false;
        error = errno;
      }
    }
    if (!exists && error != lastProbeError_) {
      if (error == EPERM || error == EACCES) return refuse(error);
      warn(error == ENODEV ? hciRefusalFor(error, index_).line
                           : "cannot look at " + name_ + ": " + std::strerror(error));
    }
    lastProbeError_ = error;
    bool up = exists && bound_ && (info.flags & kHciUpFlag) != 0;
    apply(session_.adapterUp(up));
    setState(up ? BluetoothCentralState::poweredOn : BluetoothCentralState::poweredOff);
  }

  // The adapter went away under a bound socket; a fresh one binds when it is back.
  void reopen() {
    ::close(socket_);
    bound_ = false;
    int fd = openSocket();
    socket_ = fd >= 0 ? fd : -1;
    if (fd < 0) return refuse(-fd);
    nextProbe_ = Clock::now();
  }

  void readPackets() {
    std::array<uint8_t, 1024> buffer;
    // Bounded, so that requests are not starved by a busy radio.
    for (int i = 0; i < 64; ++i) {
      ssize_t size = ::read(socket_, buffer.data(), buffer.size());
      if (size < 0) {
        if (errno != EAGAIN && errno != EINTR) reopen();
        return;
      }
      apply(session_.received(std::span<const uint8_t>(buffer.data(), size_t(size))));
      if (refused_) return;
    }
  }

  void apply(HciScanSession::Effects effects) {
    for (const auto& packet : effects.commands) {
      if (::write(socket_, packet.data(), packet.size()) < 0) {
        int error = errno;
        if (error == EPERM || error == EACCES) return refuse(error);
        warn("writing to " + name_ + " failed: " + std::strerror(error));
        nextProbe_ = Clock::now();
      }
      commandDeadline_ = Clock::now() + kCommandTimeout;
    }
    for (auto& discovery : effects.discoveries) link_->postDiscovery(std::move(discovery));
    for (const auto& warning : effects.warnings) warn(warning);
    if (effects.controllerReset) {
      setState(BluetoothCentralState::poweredOff);
      nextProbe_ = Clock::now();
    }
  }

  const int index_;
  const std::string name_;
  const std::shared_ptr<Log> log_;
  const std::shared_ptr<CentralDelegateLink> link_;
  std::atomic<BluetoothCentralState> state_{BluetoothCentralState::unknown};
  std::mutex mutex_;
  std::vector<Request> requests_;  // guarded by mutex_
  std::atomic<bool> stop_{false};

  // The central's thread only.
  HciScanSession session_;
  const int wake_;
  const int wakeError_;
  int socket_ = -1;
  bool bound_ = false;
  bool refused_ = false;
  int lastProbeError_ = 0;
  Clock::time_point nextProbe_{};
  Clock::time_point commandDeadline_{};
  std::thread thread_;
};

}  // namespace

HciRefusal hciRefusalFor(int error, int index, bool kernelHasBluetooth) {
  std::string adapter = "hci" + std::to_string(index);
  switch (error) {
    case EPERM:
    case EACCES:
      return {BluetoothCentralState::unauthorized,
              "raw HCI scanning on " + adapter +
                  " needs CAP_NET_RAW: run as root or grant it with "
                  "'sudo setcap cap_net_raw+ep <program>'"};
    case EAFNOSUPPORT:
    case EPROTONOSUPPORT:
    case ESOCKTNOSUPPORT:
      // The kernel offers Bluetooth sockets in its first network namespace
      // only: containers and services with PrivateNetwork=yes get this too.
      if (kernelHasBluetooth)
        return {BluetoothCentralState::unsupported,
                "no Bluetooth sockets in this network namespace (a container, or a service "
                "with PrivateNetwork=yes): the kernel offers them in the host's only; run "
                "there (--network host, PrivateNetwork=no) for raw HCI scanning on " +
                    adapter};
      return {BluetoothCentralState::unsupported,
              "no Bluetooth sockets: this kernel has no Bluetooth, or this process runs in a "
              "network namespace of its own (a container, PrivateNetwork=yes), where there are "
              "none; no raw HCI scanning on " +
                  adapter};
    case ENODEV:
      return {BluetoothCentralState::poweredOff, "no adapter " + adapter + "; waiting for it"};
    default:
      return {BluetoothCentralState::unsupported,
              "raw HCI socket for " + adapter + " failed: " + std::strerror(error)};
  }
}

std::unique_ptr<BluetoothCentral> makeHciSocketCentral(BluetoothCentralDelegate& delegate,
                                                       std::shared_ptr<DispatchQueue> queue,
                                                       int index, std::shared_ptr<Log> log) {
  return std::make_unique<HciSocketCentral>(delegate, std::move(queue), index, std::move(log));
}

}  // namespace vicinix
