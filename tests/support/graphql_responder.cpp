#include "support/graphql_responder.h"

#include <nlohmann/json.hpp>

namespace vicinix::test {

std::string GraphQLResponder::queryOf(const HttpRequest& request) {
  return nlohmann::json::parse(request.body).at("query").get<std::string>();
}

HttpResponse GraphQLResponder::operator()(const HttpRequest& request) const {
  std::string query = queryOf(request);
  for (const auto& [field, body] : routes_) {
    if (query.find(field) != std::string::npos) return {.error = {}, .status = 200, .body = body};
  }
  return {.error = {}, .status = 200, .body = R"({"errors":[{"message":"no route"}]})"};
}

std::string sampleConfigurationReply() {
  return R"({"data":{"sdkApplicationConfig":{
    "id":"app-1","name":"Store","key":"k","useAppBadges":true,
    "beaconExpiration":1800,"campaignExpiration":7200,"requiredSdkVersionExpiration":600,
    "scaningIntervalOnForeground":10,"dailyNotificationLimit":3,
    "theme":{"primaryColor":"#00FF00","fontSize":20,"spacing":8.5,"textColor":"#000000"},
    "namespaces":[
      {"id":"n1","name":"Entrance","ibeaconUuid":"B9407F30-F5F8-466E-AFF9-25556B57FE6D","eddystoneUid":"edd1ebeac04e5defa017"},
      {"id":"n2","name":"Cafe","ibeaconUuid":"","eddystoneUid":"f7826da6bc5b71e0893e"}]}}})";
}

}  // namespace vicinix::test
