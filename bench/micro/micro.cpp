// SPDX-License-Identifier: MIT
// The parts of the library by themselves, without a network.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "message.h"
#include "messages.h"
#include "private_network.h"
#include "ssdp.h"

namespace {

using namespace libSSDP;

void ReadRecord(benchmark::State& state) {
  const std::string message = bench::Notify(bench::kTarget, bench::Uuid(1));
  for (auto _ : state) {
    DeviceInfo device;
    benchmark::DoNotOptimize(ReadDevice(message, 1000, ShortStatus::kReject, device));
  }
}
BENCHMARK(ReadRecord);

void FilterOther(benchmark::State& state) {
  const std::string message = bench::Notify(bench::kOtherTarget, bench::Uuid(1));
  for (auto _ : state) benchmark::DoNotOptimize(ContainsHeader(message, "NT: ", bench::kTarget));
}
BENCHMARK(FilterOther);

void InsertMarker(benchmark::State& state) {
  const std::string value = bench::Uuid(1);
  for (auto _ : state) {
    std::string text = NOTIFY_HEADER;
    benchmark::DoNotOptimize(InsertAfter(text, "USN: uuid:", value));
  }
}
BENCHMARK(InsertMarker);

void ReadRegistry(benchmark::State& state) {
  SSDPStorage store;
  store.Init();
  for (auto _ : state) {
    SearchTargetConfig config;
    benchmark::DoNotOptimize(store.GetConfig(config.m_name, config));
  }
}
BENCHMARK(ReadRegistry);

template <SSDP_STATUS (SSDPStorage::*generate)()>
void Template(benchmark::State& state) {
  SSDPStorage store;
  store.Init();
  for (auto _ : state) benchmark::DoNotOptimize((store.*generate)());
}
BENCHMARK_TEMPLATE(Template, &SSDPStorage::GenerateMSearchHeader)->Name("Template/MSearch");
BENCHMARK_TEMPLATE(Template, &SSDPStorage::GenerateNotifyHeader)->Name("Template/Notify");
BENCHMARK_TEMPLATE(Template, &SSDPStorage::GenerateResponseHeader)->Name("Template/Response");

DeviceInfo Peer(int number) {
  DeviceInfo device;
  device.m_expiry = std::numeric_limits<int32_t>::max();
  device.m_status = bench::kStatus;
  device.m_address = "10.77.0.1";
  device.m_uuid = bench::Uuid(number);
  return device;
}

void RefreshThose(benchmark::State& state, std::string (*uuid)(int)) {
  const int peers = static_cast<int>(state.range(0));
  SSDP service(0);
  std::vector<DeviceInfo> devices;
  for (int number = 0; number < peers; ++number) {
    devices.push_back(Peer(number));
    devices.back().m_uuid = uuid(number);
    SSDP::Callback(&service, &devices.back(), true, false);
  }
  size_t next = 0;
  for (auto _ : state) {
    SSDP::Callback(&service, &devices[next], true, false);
    next = (next + 1) % devices.size();
  }
  service.ClearDevices();
}

void Refresh(benchmark::State& state) {
  RefreshThose(state, bench::Uuid);
}
BENCHMARK(Refresh)->RangeMultiplier(10)->Range(10, 100000);

void RefreshAlike(benchmark::State& state) {
  RefreshThose(state, bench::UuidOfOneMaker);
}
BENCHMARK(RefreshAlike)->RangeMultiplier(10)->Range(10, 100000);

// A device that comes and leaves again.
void Newcomer(benchmark::State& state) {
  SSDP service(0);
  const auto peers = static_cast<int>(state.range(0));
  for (int number = 0; number < peers; ++number) {
    DeviceInfo device = Peer(number);
    SSDP::Callback(&service, &device, true, false);
  }
  int next = peers;
  for (auto _ : state) {
    DeviceInfo device = Peer(next++);
    SSDP::Callback(&service, &device, true, false);
    SSDP::Callback(&service, &device, false, false);
  }
  service.ClearDevices();
}
BENCHMARK(Newcomer)->RangeMultiplier(10)->Range(10, 100000)->Unit(benchmark::kMicrosecond);

// A walk over a table where nothing has expired.
void Sweep(benchmark::State& state) {
  const int peers = static_cast<int>(state.range(0));
  SSDP service(0);
  for (int number = 0; number < peers; ++number) {
    DeviceInfo device = Peer(number);
    SSDP::Callback(&service, &device, true, false);
  }
  for (auto _ : state) service.Sweep(1000);
  service.ClearDevices();
}
BENCHMARK(Sweep)->RangeMultiplier(10)->Range(10, 100000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
