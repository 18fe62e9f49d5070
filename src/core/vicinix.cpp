#include "core/vicinix.h"

#include "core/sdk.h"

namespace vicinix {

void Vicinix::setDebugging(bool debugging) {
  Sdk::current().setDebugging(debugging);
}

bool Vicinix::isDebugging() {
  return Sdk::current().debugging();
}

void Vicinix::debug(std::string_view line) {
  Sdk::current().debug(line);
}

std::filesystem::path Vicinix::documentsDirectoryURL() {
  return Sdk::current().directories().documents;
}

std::filesystem::path Vicinix::vicinixDirectoryURL() {
  return Sdk::current().directories().library / "Vicinix";
}

}  // namespace vicinix
