// Client threads list and walk while the monitor turns events into refreshes.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/provider/sim_fixture.h"

namespace {

using ConcurrencyTest = SimProviderTest;

// Walks every list a client would: subsystems, then their controllers, drives and LUNs, with a
// clone of each list walked as well.
int WalkEverything(CProvider* provider) {
  int seen = 0;
  IEnumVdsObject* subSystems = nullptr;
  if (provider->QuerySubSystems(&subSystems) != S_OK) return 0;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while (subSystems->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    IVdsSubSystem* subSystem = nullptr;
    if (SUCCEEDED(
            unknown->QueryInterface(IID_IVdsSubSystem, reinterpret_cast<void**>(&subSystem)))) {
      using Query = HRESULT (IVdsSubSystem::*)(IEnumVdsObject**);
      for (Query query : {static_cast<Query>(&IVdsSubSystem::QueryControllers),
                          static_cast<Query>(&IVdsSubSystem::QueryDrives),
                          static_cast<Query>(&IVdsSubSystem::QueryLuns)}) {
        IEnumVdsObject* list = nullptr;
        if ((subSystem->*query)(&list) != S_OK) continue;
        IEnumVdsObject* clone = nullptr;
        if (list->Clone(&clone) == S_OK) clone->AddRef();
        for (IEnumVdsObject* walk : {list, clone}) {
          if (walk == nullptr) continue;
          IUnknown* item = nullptr;
          ULONG got = 0;
          while (walk->Next(1, &item, &got) == S_OK && got == 1) {
            ++seen;
            item->Release();
          }
          walk->Release();
        }
      }
      subSystem->Release();
    }
    unknown->Release();
  }
  subSystems->Release();
  return seen;
}

TEST_F(ConcurrencyTest, ClientsWalkListsWhileTheMonitorRefreshes) {
  StartSimulator("two-subsystems.json");
  ASSERT_EQ(Load(), S_OK);
  std::atomic<bool> stop{false};
  std::atomic<int> walks{0};
  std::vector<std::thread> clients;
  for (int i = 0; i < 3; ++i) {
    clients.emplace_back([&] {
      while (!stop.load()) {
        EXPECT_GT(WalkEverything(provider_), 0);
        ++walks;
      }
    });
  }
  // LUN arrivals are in the refresh table: each one makes the next query refresh.
  for (int round = 0; round < 5; ++round) {
    ASSERT_EQ(simulator_->Admin("event 4001 106"), "ok");
    int before = walks.load();
    ASSERT_TRUE(WaitFor([&] { return walks.load() > before + 3; }));
  }
  stop = true;
  for (std::thread& client : clients) client.join();
  EXPECT_GT(walks.load(), 0);
}

}  // namespace
