#include "bench/bench_fixture.h"

#include <cstdlib>
#include <fstream>
#include <utility>

#include "platform/clock.h"
#include "platform/registry.h"
#include "provider/module.h"
#include "provisioning/utility.h"
#include "proxy/wire_format.h"

ProviderBench::ProviderBench() {
  char pattern[] = "/tmp/vela_bench.XXXXXX";
  m_dir = mkdtemp(pattern);
  setenv("VELA_SYSTEM_DIR", m_dir.c_str(), 1);
  setenv("VELA_PIPE_DIR", m_dir.c_str(), 1);
  std::ofstream(m_dir + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n";
  SetRegistryFile(m_dir + "/registry.reg");
  SetTimeScaleForTesting(0);
  ModuleAttach();
}

ProviderBench::~ProviderBench() {
  Stop();
  ModuleDetach();
}

bool ProviderBench::Start(const std::string& inventory) {
  Stop();
  sim::SimOptions options;
  options.listen = "127.0.0.1:0";
  options.pipe_dir = m_dir;
  options.heartbeat_seconds = 1e6;
  options.inventory_path = std::string(VELA_BENCH_INVENTORIES) + "/" + inventory;
  m_simulator = sim::Simulator::Start(options, &m_error);
  if (!m_simulator) return false;
  std::ofstream(m_dir + "/tidegate.conf") << m_simulator->ConfigurationText();
  ResetNewNamesForTesting();
  m_provider = CProvider::Create();
  if (m_provider->OnLoad(nullptr, nullptr) != S_OK) return false;
  IEnumVdsObject* list = nullptr;
  if (m_provider->QuerySubSystems(&list) != S_OK) return false;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  const bool found = list->Next(1, &unknown, &fetched) == S_OK;
  list->Release();
  if (!found) return false;
  const HRESULT hr =
      unknown->QueryInterface(IID_IVdsSubSystem, reinterpret_cast<void**>(&m_subSystem));
  unknown->Release();
  m_simulator->Admin("journal clear");
  return hr == S_OK;
}

std::vector<VDS_OBJECT_ID> ProviderBench::Drives() {
  std::vector<VDS_OBJECT_ID> ids;
  IEnumVdsObject* list = nullptr;
  if (m_subSystem->QueryDrives(&list) != S_OK) return ids;
  IUnknown* unknown = nullptr;
  ULONG fetched = 0;
  while (list->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    IVdsDrive* drive = nullptr;
    unknown->QueryInterface(IID_IVdsDrive, reinterpret_cast<void**>(&drive));
    VDS_DRIVE_PROP prop{};
    drive->GetProperties(&prop);
    ids.push_back(prop.id);
    CoTaskMemFree(prop.pwszFriendlyName);
    CoTaskMemFree(prop.pwszIdentification);
    drive->Release();
    unknown->Release();
  }
  list->Release();
  return ids;
}

void ProviderBench::Traffic(uint64_t* fetches, uint64_t* requestBytes) {
  const std::string journal = m_simulator->Admin("journal");
  m_simulator->Admin("journal clear");
  *fetches = 0;
  const std::string fetch = "{\"opcode\":" + std::to_string(GET_CONTROLLER) + ",";
  for (size_t at = journal.find(fetch); at != std::string::npos; at = journal.find(fetch, at + 1)) {
    ++*fetches;
  }
  if (requestBytes == nullptr) return;
  *requestBytes = 0;
  for (size_t at = journal.find("\"length\":"); at != std::string::npos;
       at = journal.find("\"length\":", at + 1)) {
    *requestBytes += std::strtoull(journal.c_str() + at + 9, nullptr, 10);
  }
}

void ProviderBench::Stop() {
  if (m_subSystem != nullptr) std::exchange(m_subSystem, nullptr)->Release();
  if (m_provider != nullptr) {
    m_provider->OnUnload(FALSE);
    static_cast<IVdsProvider*>(std::exchange(m_provider, nullptr))->Release();
  }
  if (m_simulator) m_simulator->Stop();
  m_simulator.reset();
}
