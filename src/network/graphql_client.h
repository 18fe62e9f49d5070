#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/json_value.h"
#include "data/model/beacon.h"
#include "data/model/campaign.h"
#include "data/model/event.h"
#include "platform/http_client.h"

namespace vicinix {

// The SDK's only link to its backend: every query and mutation text, sent as
// one POST each to the GraphQL endpoint. Handlers run on the main queue with
// the whole reply document, or nothing when the request failed. Cheap to
// make: callers create one per request.
class GraphQLClient {
 public:
  using ResponseHandler = std::function<void(std::optional<JsonValue>)>;

  GraphQLClient();
  explicit GraphQLClient(std::string apiEndpoint);

  void applicationConfiguration(ResponseHandler handler);
  void sdkConfiguration(ResponseHandler handler);
  void notification(const Beacon& beacon, ResponseHandler handler);
  void notifications(const std::vector<Campaign>& campaigns, ResponseHandler handler);
  // One mutation per batch of 20 events, 20 ms apart; `handler` runs once per batch.
  void log(const std::vector<Event>& events, ResponseHandler handler);

  void sendQuery(const std::map<std::string, std::string>& query, ResponseHandler handler);
  std::optional<HttpRequest> graphQLRequest(bool authorize,
                                            const std::map<std::string, std::string>& query);

  // The texts themselves, built exactly as they are sent.
  static std::string applicationConfigurationQuery();
  static std::string sdkConfigurationQuery();
  static std::string notificationQuery(const Beacon& beacon);
  static std::string notificationsQuery(const std::vector<Campaign>& campaigns);
  static std::string logMutation(const std::vector<Event>& events);

  const std::string& apiEndpoint() const { return apiEndpoint_; }
  static const std::string campaignNotificationsQueryString;

 private:
  std::string apiEndpoint_;
};

}  // namespace vicinix
