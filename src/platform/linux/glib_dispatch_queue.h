#pragma once

#include <memory>

#include "platform/dispatch_queue.h"

namespace vicinix {

// Queues on GLib main contexts. The main queue is the default GMainContext, so
// the SDK runs inside whatever GLib or Qt loop the host already spins (Qt with
// QT_NO_GLIB=1 never dispatches it). Each serial queue is a thread of its own
// running a private context; destroying the queue stops and joins that thread
// and drops the tasks it had not started.
std::shared_ptr<DispatchQueueFactory> makeGlibDispatchQueueFactory();

}  // namespace vicinix
