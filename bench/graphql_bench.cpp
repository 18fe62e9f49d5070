// Building the upload text is the only per-event work on the way out.
#include <benchmark/benchmark.h>

#include "network/graphql_client.h"

namespace vicinix {
namespace {

void BM_LogMutationFor1000Events(benchmark::State& state) {
  std::vector<Event> events(1000);
  for (size_t n = 0; n < events.size(); ++n) {
    events[n].id = "E" + std::to_string(n);
    events[n].type = "PULL_NOTIFICATION";
    events[n].timestamp = "2024-03-01T09:15:02.517+0100";
    events[n].campaignId = "campaign-" + std::to_string(n % 7);
    events[n].beaconNamespace = "edd1ebeac04e5defa017";
    events[n].beaconInstance = "0123456789ab";
  }
  for (auto _ : state) {
    // Built batch by batch, as the client does when each batch is due.
    for (size_t start = 0; start < events.size(); start += 20) {
      std::vector<Event> batch(events.begin() + start, events.begin() + start + 20);
      benchmark::DoNotOptimize(GraphQLClient::logMutation(batch));
    }
  }
  state.SetItemsProcessed(state.iterations() * events.size());
}
BENCHMARK(BM_LogMutationFor1000Events);

}  // namespace
}  // namespace vicinix
