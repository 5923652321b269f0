#include "objects/data_cache.h"

#include <new>

#include "proxy/tidegate.h"

const controllerData* ControllerDataCache::Fetch(DWORD handle) {
  auto found = m_data.find(handle);
  if (found != m_data.end()) return found->second.get();
  std::unique_ptr<controllerData> data(new (std::nothrow) controllerData());
  if (data && Tidegate::get_controller_data(handle, data.get()) != 0) data.reset();
  return m_data.emplace(handle, std::move(data)).first->second.get();
}
