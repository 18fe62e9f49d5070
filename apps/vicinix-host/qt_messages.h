#pragma once

namespace vicinix::host {

// Routes Qt's messages through a filter that drops the complaint about a
// missing XDG_RUNTIME_DIR, which Qt makes on every run outside a login
// session and which nothing here needs; every other message goes through.
void quietenQtMessages();

}  // namespace vicinix::host
