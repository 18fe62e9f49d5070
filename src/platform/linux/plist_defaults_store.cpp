#include "platform/linux/plist_defaults_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <type_traits>

#include "base/property_list.h"

namespace vicinix {
namespace {

PlistValue toPlist(const DefaultsValue& value) {
  return std::visit(
      [](const auto& member) -> PlistValue {
        using T = std::decay_t<decltype(member)>;
        if constexpr (std::is_same_v<T, std::vector<std::string>>) {
          return PlistValue::Array(member.begin(), member.end());
        } else {
          return PlistValue(member);
        }
      },
      value);
}

std::optional<DefaultsValue> fromPlist(const PlistValue& value) {
  if (auto* text = value.get<std::string>()) return *text;
  if (auto* number = value.get<int64_t>()) return *number;
  if (auto* real = value.get<double>()) return *real;
  if (auto* flag = value.get<bool>()) return *flag;
  if (auto* when = value.get<Date>()) return *when;
  if (auto* array = value.get<PlistValue::Array>()) {
    std::vector<std::string> strings;
    for (const auto& member : *array) {
      auto* text = member.get<std::string>();
      if (text == nullptr) return std::nullopt;
      strings.push_back(*text);
    }
    return strings;
  }
  return std::nullopt;
}

// 0 and the contents, or the errno that stopped the read.
int readWholeFile(const std::filesystem::path& file, std::string& contents) {
  int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno;
  char buffer[16384];
  for (;;) {
    ssize_t got = read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      int error = errno;
      close(fd);
      return error;
    }
    if (got == 0) break;
    contents.append(buffer, static_cast<size_t>(got));
  }
  close(fd);
  return 0;
}

class PlistDefaultsStore final : public DefaultsStore {
 public:
  PlistDefaultsStore(std::filesystem::path file, std::shared_ptr<Log> log,
                     SettingsFileWriter writer)
      : file_(std::move(file)), log_(std::move(log)), writer_(std::move(writer)) {
    load();
  }

  std::optional<DefaultsValue> object(const std::string& key) const override {
    std::lock_guard lock(mutex_);
    auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return found->second;
  }

  void set(const std::string& key, DefaultsValue value) override {
    std::lock_guard lock(mutex_);
    values_.insert_or_assign(key, std::move(value));
    unknown_.erase(key);
    ++changes_;
  }

  void remove(const std::string& key) override {
    std::lock_guard lock(mutex_);
    if (values_.erase(key) + unknown_.erase(key) > 0) ++changes_;
  }

  std::map<std::string, DefaultsValue> snapshot() const override {
    std::lock_guard lock(mutex_);
    return values_;
  }

  // Any thread. The file write happens outside the value lock, so readers and
  // writers are not held up by fsync; writes themselves are serialised so an
  // older snapshot can never land after a newer one.
  bool synchronize() override {
    std::lock_guard writing(writeMutex_);
    PlistValue::Dictionary document;
    uint64_t generation;
    {
      std::lock_guard lock(mutex_);
      if (changes_ == written_) return true;
      generation = changes_;
      document = unknown_;
      for (const auto& [key, value] : values_) document.insert_or_assign(key, toPlist(value));
    }
    auto xml = PropertyList::toXml(PlistValue(std::move(document)));
    if (!xml || !writer_(file_, *xml)) return false;
    std::lock_guard lock(mutex_);
    written_ = generation;
    return true;
  }

 private:
  void load() {
    // Left by a process killed mid-write; nothing reads them.
    removeAbandonedTemporaryFiles(file_);
    std::string bytes;
    int error = readWholeFile(file_, bytes);
    if (error == ENOENT) return;
    std::string problem;
    if (error != 0) {
      problem = std::strerror(error);
    } else if (auto parsed = PropertyList::fromBytes(bytes); !parsed) {
      problem = "not a property list";
    } else if (auto* dictionary = parsed->get<PlistValue::Dictionary>()) {
      for (const auto& [key, member] : *dictionary) {
        if (auto value = fromPlist(member)) {
          values_.emplace(key, std::move(*value));
        } else {
          unknown_.emplace(key, member);
        }
      }
      return;
    } else {
      problem = "top level is not a dictionary";
    }
    // Starting afresh must not cost the user the old file: it may still be
    // recoverable by hand.
    if (auto aside = moveFileAside(file_)) {
      log_->systemLine("settings file " + file_.string() + " unusable (" + problem + "); kept as " +
                       aside->filename().string() + ", starting from defaults");
    } else {
      log_->systemLine("settings file " + file_.string() + " unusable (" + problem +
                       ") and could not be kept aside (" + std::strerror(errno) +
                       "); starting from defaults");
    }
  }

  const std::filesystem::path file_;
  const std::shared_ptr<Log> log_;
  const SettingsFileWriter writer_;
  mutable std::mutex mutex_;
  std::map<std::string, DefaultsValue> values_;
  PlistValue::Dictionary unknown_;
  uint64_t changes_ = 0;
  uint64_t written_ = 0;
  std::mutex writeMutex_;
};

}  // namespace

std::shared_ptr<DefaultsStore> makePlistDefaultsStore(std::filesystem::path file,
                                                      std::shared_ptr<Log> log,
                                                      SettingsFileWriter writer) {
  return std::make_shared<PlistDefaultsStore>(std::move(file), std::move(log), std::move(writer));
}

}  // namespace vicinix
