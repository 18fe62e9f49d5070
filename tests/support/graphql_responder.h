#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/http_client.h"

namespace vicinix::test {

// Answers a fake HTTP request by the first root field its query names, the
// way the backend routes GraphQL requests.
class GraphQLResponder {
 public:
  GraphQLResponder& on(std::string field, std::string replyBody) {
    routes_.emplace_back(std::move(field), std::move(replyBody));
    return *this;
  }
  HttpResponse operator()(const HttpRequest& request) const;
  // The query text inside a request body.
  static std::string queryOf(const HttpRequest& request);

 private:
  std::vector<std::pair<std::string, std::string>> routes_;
};

// A reply carrying a complete application configuration.
std::string sampleConfigurationReply();

}  // namespace vicinix::test
