#include "network/graphql_client.h"

#include "base/sdk.h"
#include "base/url.h"
#include "core/sdk_version.h"
#include "core/vicinix_configurator.h"
#include "events/chunked.h"

namespace vicinix {
namespace {

constexpr size_t kEventsPerBatch = 20;
constexpr auto kBatchSpacing = std::chrono::milliseconds(20);

const char* boolText(bool value) {
  return value ? "true" : "false";
}

// Appends `value` as the inside of a GraphQL string literal. Identifiers, hex
// namespaces and timestamps need no escape and pass unchanged, so the backend
// sees the texts it always has; a stray quote or newline in an id can no
// longer turn a whole upload batch into a syntax error.
void appendLiteral(std::string& text, std::string_view value) {
  size_t plain = 0;  // start of the run not yet copied
  for (size_t i = 0; i < value.size(); ++i) {
    unsigned char c = value[i];
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    text.append(value.substr(plain, i - plain));
    plain = i + 1;
    switch (c) {
      case '"':
        text += "\\\"";
        break;
      case '\\':
        text += "\\\\";
        break;
      case '\n':
        text += "\\n";
        break;
      case '\r':
        text += "\\r";
        break;
      case '\t':
        text += "\\t";
        break;
      default:
        static constexpr char kHex[] = "0123456789ABCDEF";
        text += "\\u00";
        text += kHex[c >> 4];
        text += kHex[c & 0xF];
    }
  }
  text.append(value.substr(plain));
}

std::string literal(std::string_view value) {
  std::string text;
  appendLiteral(text, value);
  return text;
}

}  // namespace

const std::string GraphQLClient::campaignNotificationsQueryString =
    "{id, type, cooldown, maximumNotificationsPerUser, notificationText, notificationTitle, "
    "notificationImage, listImage, listTitle, listText, isActive, detailUrl, inAppEvent, blocks "
    "{id, type, attributes {id, key,value}}}";

GraphQLClient::GraphQLClient() : GraphQLClient(Sdk::current().graphQLEndpoint()) {}

GraphQLClient::GraphQLClient(std::string apiEndpoint) : apiEndpoint_(std::move(apiEndpoint)) {}

std::string GraphQLClient::applicationConfigurationQuery() {
  return std::string(
             "{  sdkApplicationConfig {id, name, key, useAppBadges, beaconExpiration, "
             "campaignExpiration, requiredSdkVersionExpiration, scaningIntervalOnForeground, "
             "dailyNotificationLimit, ") +
         "theme {primaryColor backgroundColor textColor fontSize lineHeight spacing titleColor "
         "titleFontSize headingColor headingFontSize buttonTextColor buttonBackground}" +
         ", " + "namespaces{id, name, ibeaconUuid, eddystoneUid}" + "}}";
}

std::string GraphQLClient::sdkConfigurationQuery() {
  return "{ sdkConfig { requiredIosSdkVersion }}";
}

std::string GraphQLClient::notificationQuery(const Beacon& beacon) {
  return "{sdkFetchPullNotifications(beaconNamespace: \"" + literal(beacon.namespace_) +
         "\", beaconInstance:\"" + literal(beacon.instance) + "\") " +
         campaignNotificationsQueryString + "}";
}

std::string GraphQLClient::notificationsQuery(const std::vector<Campaign>& campaigns) {
  std::string text = "{sdkFetchCampaigns(ids:[";
  for (const auto& campaign : campaigns) {
    text += "\"";
    appendLiteral(text, campaign.id);
    text += "\", ";
  }
  text += "]) ";
  text += campaignNotificationsQueryString;
  text += "}";
  return text;
}

std::string GraphQLClient::logMutation(const std::vector<Event>& events) {
  std::string text = "mutation{sdkCreateLog(events:[";
  text.reserve(64 + events.size() * 320);
  for (const auto& event : events) {
    text += "{eventType:";
    text += event.type;
    text += ", timestamp:\"";
    appendLiteral(text, event.timestamp);
    text += "\", beaconNamespace:\"";
    appendLiteral(text, event.beaconNamespace.value_or(""));
    text += "\", beaconInstance:\"";
    appendLiteral(text, event.beaconInstance.value_or(""));
    text += "\", campaignId:\"";
    appendLiteral(text, event.campaignId.value_or(""));
    text += "\", hasBluetoothTurnedOn: ";
    text += boolText(event.hasBluetoothTurnedOn);
    text += ", hasInternetConnection: ";
    text += boolText(event.hasInternetConnection);
    text += ", hasLocationPermission: ";
    text += boolText(event.hasLocationPermission);
    text += ", hasNotificationPermission: ";
    text += boolText(event.hasNotificationPermission);
    text += "}, ";
  }
  text += "])}";
  return text;
}

void GraphQLClient::applicationConfiguration(ResponseHandler handler) {
  sendQuery({{"query", applicationConfigurationQuery()}}, std::move(handler));
}

void GraphQLClient::sdkConfiguration(ResponseHandler handler) {
  sendQuery({{"query", sdkConfigurationQuery()}}, std::move(handler));
}

void GraphQLClient::notification(const Beacon& beacon, ResponseHandler handler) {
  sendQuery({{"query", notificationQuery(beacon)}}, std::move(handler));
}

void GraphQLClient::notifications(const std::vector<Campaign>& campaigns, ResponseHandler handler) {
  sendQuery({{"query", notificationsQuery(campaigns)}}, std::move(handler));
}

void GraphQLClient::log(const std::vector<Event>& events, ResponseHandler handler) {
  auto batches = chunked(events, kEventsPerBatch);
  auto& mainQueue = Sdk::current().mainQueue();
  for (size_t k = 0; k < batches.size(); ++k) {
    mainQueue.asyncAfter(kBatchSpacing * k,
                         [client = *this, batch = std::move(batches[k]), handler]() mutable {
                           client.sendQuery({{"query", logMutation(batch)}}, handler);
                         });
  }
}

std::optional<HttpRequest> GraphQLClient::graphQLRequest(
    bool authorize, const std::map<std::string, std::string>& query) {
  Sdk& sdk = Sdk::current();
  if (!Url::parse(apiEndpoint_)) {
    sdk.debug("Error: cannot create URL");
    return std::nullopt;
  }
  HttpRequest request;
  request.method = "POST";
  request.url = apiEndpoint_;
  request.timeout = std::chrono::seconds(60);
  request.headers = {{"content-type", "application/json"}};
  if (authorize) {
    const DeviceInfo& device = sdk.device();
    request.headers.insert(
        request.headers.end(),
        {
            {"application-key", VicinixConfigurator::applicationKey()},
            {"device-id", VicinixConfigurator::deviceID()},
            {"sdk-version", std::to_string(kSdkVersion)},
            {"device-vendor", "Apple"},
            {"device-model", device.model},
            {"device-os", device.osVersion},
            {"platform", "IOS"},
            {"has-bluetooth-turned-on", boolText(VicinixConfigurator::bluetoothOn())},
            {"has-internet-connection", boolText(VicinixConfigurator::hasInternetConnection())},
            {"has-location-permission", boolText(VicinixConfigurator::locationAllowed())},
            {"has-notification-permission", boolText(VicinixConfigurator::notificationAllowed())},
        });
  }
  // Bytes that are not UTF-8 have no JSON form and go as U+FFFD: refusing the
  // body would hold an event that carries them, and its whole batch, back for ever.
  request.body =
      nlohmann::json(query).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return request;
}

void GraphQLClient::sendQuery(const std::map<std::string, std::string>& query,
                              ResponseHandler handler) {
  auto request = graphQLRequest(true, query);
  if (!request) return;
  std::string description = request->method + " " + request->url;
  Sdk::current().http().send(
      std::move(*request),
      [handler = std::move(handler), description = std::move(description)](HttpResponse response) {
        Sdk& sdk = Sdk::current();
        if (!response.error.empty()) {
          sdk.debug(response.error);
          sdk.debug("Error Request: " + description);
          handler(std::nullopt);
        } else if (response.body) {
          handler(JsonValue::parse(*response.body));
        } else {
          sdk.debug("Error: did not receive data");
          handler(std::nullopt);
        }
      });
}

}  // namespace vicinix
