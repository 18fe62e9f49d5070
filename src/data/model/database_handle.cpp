#include "data/model/database_handle.h"

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

#include "base/atomic_file.h"
#include "base/sdk.h"
#include "data/model/realm_configurator.h"

namespace vicinix {

// What the handles of one SDK share about its file.
struct DatabaseHandle::File {
  explicit File(Sdk&) {}

  std::recursive_mutex mutex;
  uint64_t generation = 0;  // how many times the file was set aside
  std::optional<Uptime> retryAt;
  bool reported = false;  // the file's trouble is on the system log
};

namespace {

struct Failure {
  int code = SQLITE_OK;  // the primary SQLite code; SQLITE_OK for other errors
  std::string reason;
};

template <class Work>
std::optional<Failure> attempt(Work&& work) {
  try {
    work();
    return std::nullopt;
  } catch (const SQLite::Exception& error) {
    return Failure{.code = error.getErrorCode() & 0xff, .reason = error.what()};
  } catch (const std::exception& error) {
    return Failure{.code = SQLITE_OK, .reason = error.what()};
  }
}

bool isCorrupt(int code) {
  return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

}  // namespace

DatabaseHandle::DatabaseHandle(Sdk& sdk)
    : sdk_(sdk),
      file_(sdk.shared<File>()),
      configuration_(RealmConfigurator::vicinixConfiguration()) {}

Database* DatabaseHandle::get() {
  std::lock_guard lock(file_.mutex);
  return open();
}

std::optional<std::string> DatabaseHandle::write(const std::function<void(Database&)>& changes) {
  std::lock_guard lock(file_.mutex);
  auto error = use([&](Database& database) { database.transaction([&] { changes(database); }); });
  // Only a write tells that the trouble is over: reads go on under another
  // process's write lock.
  if (!error) recovered();
  return error;
}

std::optional<std::string> DatabaseHandle::use(const std::function<void(Database&)>& work,
                                               bool again) {
  std::lock_guard lock(file_.mutex);
  Database* database = open();
  if (database == nullptr) return "the database cannot be used now";
  // A use within a use leaves what goes wrong to the outer one, which owns
  // the connection.
  if (depth_ > 0) {
    work(*database);
    return std::nullopt;
  }
  ++depth_;
  auto failure = attempt([&] { work(*database); });
  --depth_;
  if (!failure) return std::nullopt;
  if (isCorrupt(failure->code)) {
    database_.reset();
    if (!setAside(failure->reason)) {
      fail(failure->reason);
    } else if (again) {
      return use(work, false);  // the same work, on the fresh file
    }
  } else if (failure->code == SQLITE_BUSY || failure->code == SQLITE_LOCKED) {
    // Another process writing: the connection is fine, the next use waits again.
    report(failure->reason);
  } else if (failure->code != SQLITE_OK && failure->code != SQLITE_CONSTRAINT) {
    // The file refused the work (read-only, full, gone): a new connection
    // later may find it usable again.
    database_.reset();
    fail(failure->reason);
  } else {
    sdk_.debug(failure->reason);
  }
  return failure->reason;
}

// Under file_.mutex.
Database* DatabaseHandle::open() {
  if (database_ && (generation_ == file_.generation || depth_ > 0)) return database_.get();
  database_.reset();
  if (file_.retryAt && sdk_.clock().uptime() < *file_.retryAt) return nullptr;
  auto openFile = [&] {
    generation_ = file_.generation;
    database_ = std::make_unique<Database>(configuration_);
  };
  auto failure = attempt(openFile);
  if (failure && isCorrupt(failure->code) && setAside(failure->reason)) failure = attempt(openFile);
  if (failure) {
    fail(failure->reason);
    return nullptr;
  }
  // A first open while another writer holds the file proves nothing yet.
  if (std::exchange(file_.retryAt, std::nullopt)) recovered();
  return database_.get();
}

void DatabaseHandle::fail(const std::string& reason) {
  file_.retryAt = sdk_.clock().uptime() + retryInterval;
  report(reason);
}

void DatabaseHandle::report(const std::string& reason) {
  sdk_.debug("Unable to use the database " + configuration_.fileURL.string() + ": " + reason);
  if (std::exchange(file_.reported, true)) return;
  sdk_.log().systemLine("database " + configuration_.fileURL.string() + " cannot be used (" +
                        reason + "); trying again later");
}

void DatabaseHandle::recovered() {
  if (std::exchange(file_.reported, false)) {
    sdk_.log().systemLine("database " + configuration_.fileURL.string() + " usable again");
  }
}

// Under file_.mutex. False, with `reason` saying why, when the file stays.
bool DatabaseHandle::setAside(std::string& reason) {
  // The stores' connections were on a file another store has set aside.
  if (generation_ != file_.generation) return true;
  const std::filesystem::path& file = configuration_.fileURL;
  auto aside = moveFileAside(file);
  if (!aside) {
    reason += "; it could not be set aside: ";
    reason += std::strerror(errno);
    return false;
  }
  // SQLite finds a file's log by the file's name: the copy keeps its own.
  for (const char* suffix : {"-wal", "-shm"}) {
    std::rename((file.string() + suffix).c_str(), (aside->string() + suffix).c_str());
  }
  ++file_.generation;
  sdk_.log().systemLine("database " + file.string() + " is corrupt (" + reason + "); kept as " +
                        aside->filename().string() + ", starting with a fresh one");
  return true;
}

}  // namespace vicinix
