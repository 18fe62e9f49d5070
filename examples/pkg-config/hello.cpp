// The smallest program against an installed SDK, built with nothing but
//   c++ -std=c++20 hello.cpp $(pkg-config --cflags --libs vicinix)
// Without a host it only prints what Vicinix::start needs first.

#include <cstdio>

#include <vicinix/version.h>
#include <vicinix/vicinix.h>

int main() {
  std::printf("Vicinix %s\n", VICINIX_VERSION_STRING);
  vicinix::Vicinix::start("no-host-yet");
  return 0;
}
