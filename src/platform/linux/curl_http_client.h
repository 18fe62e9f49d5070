#pragma once

#include <memory>

#include "platform/dispatch_queue.h"
#include "platform/http_client.h"

namespace vicinix {

// Sends requests with libcurl on a worker thread of its own and posts every
// completion to `mainQueue`. Peers and host names are verified. Redirects are
// handed back as they are unless the request allows some; those followed get
// none of the request's headers, so keys never go to a host the caller did
// not name. Every request says "User-Agent: vicinix/<SDK version>". Destroying
// the client cancels what is still queued or in flight: those completions get
// the error "cancelled".
//
// The first client initialises libcurl, which must happen before any other
// thread of the process uses libcurl.
std::shared_ptr<HttpClient> makeCurlHttpClient(std::shared_ptr<DispatchQueue> mainQueue);

}  // namespace vicinix
