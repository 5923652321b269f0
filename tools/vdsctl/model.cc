#include "tools/vdsctl/model.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "platform/strings.h"

namespace vdsctl {

namespace {

// Takes over a string the provider allocated for us.
Text TakeText(LPWSTR text) {
  if (text == nullptr) return std::nullopt;
  std::string utf8 = Utf16ToUtf8(text);
  CoTaskMemFree(text);
  return utf8;
}

template <class Interface>
CallResult Query(IUnknown* from, ComPtr<Interface>* to) {
  void* object = nullptr;
  const HRESULT hr = from->QueryInterface(InterfaceId<Interface>::value, &object);
  if (FAILED(hr)) return CallError{hr, "IUnknown::QueryInterface"};
  to->Attach(static_cast<Interface*>(object));
  return {};
}

// Every object of a list, in the list's order, as `Interface`. The list's own reference goes
// when the walk ends.
template <class Interface>
CallResult Walk(IEnumVdsObject* list, std::vector<ComPtr<Interface>>* out) {
  ComPtr<IEnumVdsObject> holder;
  holder.Attach(list);
  for (;;) {
    IUnknown* unknown = nullptr;
    ULONG fetched = 0;
    const HRESULT hr = list->Next(1, &unknown, &fetched);
    if (FAILED(hr)) return CallError{hr, "IEnumVdsObject::Next"};
    if (fetched == 0 || unknown == nullptr) return {};
    ComPtr<IUnknown> element;
    element.Attach(unknown);
    ComPtr<Interface> object;
    if (CallResult error = Query(unknown, &object)) return error;
    out->push_back(std::move(object));
    if (hr == S_FALSE) return {};
  }
}

// Runs a Query... method that hands out a list and walks the list.
template <class Interface, class QueryList>
CallResult List(QueryList query, const char* call, std::vector<ComPtr<Interface>>* out) {
  IEnumVdsObject* list = nullptr;
  const HRESULT hr = query(&list);
  if (FAILED(hr)) {
    if (list != nullptr) list->Release();
    return CallError{hr, call};
  }
  if (list == nullptr) return {};
  return Walk(list, out);
}

CallResult Check(HRESULT hr, const char* call) {
  if (FAILED(hr)) return CallError{hr, call};
  return {};
}

CallResult LowestControllerIdentification(IVdsSubSystem* subsystem, std::string* lowest) {
  std::vector<ComPtr<IVdsController>> controllers;
  if (CallResult error =
          List([&](IEnumVdsObject** list) { return subsystem->QueryControllers(list); },
               "IVdsSubSystem::QueryControllers", &controllers)) {
    return error;
  }
  std::optional<std::string> found;
  for (const ComPtr<IVdsController>& controller : controllers) {
    VDS_CONTROLLER_PROP prop{};
    if (CallResult error =
            Check(controller->GetProperties(&prop), "IVdsController::GetProperties")) {
      return error;
    }
    TakeText(prop.pwszFriendlyName);
    const std::string identification = TakeText(prop.pwszIdentification).value_or("");
    if (!found || identification < *found) found = identification;
  }
  *lowest = found.value_or("");
  return {};
}

}  // namespace

Model::Model(IVdsProvider* provider) : provider_(provider) {}

CallResult Model::HwProvider(ComPtr<IVdsHwProvider>* hw) { return Query(provider_, hw); }

CallResult Model::SubsystemObjects(std::optional<int> only, std::vector<Subsystem>* out) {
  ComPtr<IVdsHwProvider> hw;
  if (CallResult error = HwProvider(&hw)) return error;
  std::vector<ComPtr<IVdsSubSystem>> subsystems;
  if (CallResult error = List([&](IEnumVdsObject** list) { return hw->QuerySubSystems(list); },
                              "IVdsHwProvider::QuerySubSystems", &subsystems)) {
    return error;
  }
  // The provider lists its subsystems in the order of ids that are new at each load. What
  // stays is their identification text (maker and model), their name, and the serial numbers
  // of their controllers; in that order they give the numbers.
  struct Keyed {
    std::string identification;
    std::string name;
    std::string controller;  // the lowest controller identification, when needed
    ComPtr<IVdsSubSystem> object;
  };
  std::vector<Keyed> named;
  for (ComPtr<IVdsSubSystem>& subsystem : subsystems) {
    ComPtr<IVdsSubSystem2> subsystem2;
    if (CallResult error = Query(subsystem.Get(), &subsystem2)) return error;
    VDS_SUB_SYSTEM_PROP2 prop{};
    if (CallResult error =
            Check(subsystem2->GetProperties2(&prop), "IVdsSubSystem2::GetProperties2")) {
      return error;
    }
    Text name = TakeText(prop.pwszFriendlyName);
    named.push_back(Keyed{TakeText(prop.pwszIdentification).value_or(""), name.value_or(""), "",
                          std::move(subsystem)});
  }
  auto sameText = [](const Keyed& a, const Keyed& b) {
    return a.identification == b.identification && a.name == b.name;
  };
  for (size_t i = 0; i < named.size(); ++i) {
    for (size_t j = i + 1; j < named.size(); ++j) {
      if (!sameText(named[i], named[j])) continue;
      for (size_t k : {i, j}) {
        if (CallResult error =
                LowestControllerIdentification(named[k].object.Get(), &named[k].controller)) {
          return error;
        }
      }
    }
  }
  std::stable_sort(named.begin(), named.end(), [](const Keyed& a, const Keyed& b) {
    return std::tie(a.identification, a.name, a.controller) <
           std::tie(b.identification, b.name, b.controller);
  });
  for (size_t i = 0; i < named.size(); ++i) {
    const int index = static_cast<int>(i);
    if (!only || *only == index) out->push_back(Subsystem{index, named[i].object});
  }
  return {};
}

CallResult Model::SubsystemObject(int index, ComPtr<IVdsSubSystem>* object) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(index, &subsystems)) return error;
  object->Reset();
  if (!subsystems.empty()) *object = subsystems.front().object;
  return {};
}

CallResult Model::Provider(ProviderRow* row) {
  VDS_PROVIDER_PROP prop{};
  if (CallResult error = Check(provider_->GetProperties(&prop), "IVdsProvider::GetProperties")) {
    return error;
  }
  row->pwszName = TakeText(std::exchange(prop.pwszName, nullptr));
  row->pwszVersion = TakeText(std::exchange(prop.pwszVersion, nullptr));
  row->prop = prop;
  return {};
}

CallResult Model::Subsystems(std::vector<SubsystemRow>* rows) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(std::nullopt, &subsystems)) return error;
  for (const Subsystem& subsystem : subsystems) {
    ComPtr<IVdsSubSystem2> subsystem2;
    if (CallResult error = Query(subsystem.object.Get(), &subsystem2)) return error;
    SubsystemRow row;
    row.index = subsystem.index;
    if (CallResult error =
            Check(subsystem2->GetProperties2(&row.prop), "IVdsSubSystem2::GetProperties2")) {
      return error;
    }
    row.pwszFriendlyName = TakeText(std::exchange(row.prop.pwszFriendlyName, nullptr));
    row.pwszIdentification = TakeText(std::exchange(row.prop.pwszIdentification, nullptr));
    rows->push_back(std::move(row));
  }
  return {};
}

namespace {

CallResult ControllerObjects(IVdsSubSystem* subsystem,
                             std::vector<ComPtr<IVdsController>>* controllers) {
  return List([&](IEnumVdsObject** list) { return subsystem->QueryControllers(list); },
              "IVdsSubSystem::QueryControllers", controllers);
}

CallResult LunObjects(IVdsSubSystem* subsystem, std::vector<ComPtr<IVdsLun>>* luns) {
  return List([&](IEnumVdsObject** list) { return subsystem->QueryLuns(list); },
              "IVdsSubSystem::QueryLuns", luns);
}

CallResult PlexObjects(IVdsLun* lun, std::vector<ComPtr<IVdsLunPlex>>* plexes) {
  return List([&](IEnumVdsObject** list) { return lun->QueryPlexes(list); }, "IVdsLun::QueryPlexes",
              plexes);
}

CallResult PlexProperties(IVdsLunPlex* plex, VDS_LUN_PLEX_PROP* prop) {
  return Check(plex->GetProperties(prop), "IVdsLunPlex::GetProperties");
}

// The identification text of every drive of the subsystem, by drive id.
CallResult DriveNames(IVdsSubSystem* subsystem, std::map<GUID, std::string>* names) {
  std::vector<ComPtr<IVdsDrive>> drives;
  if (CallResult error = List([&](IEnumVdsObject** list) { return subsystem->QueryDrives(list); },
                              "IVdsSubSystem::QueryDrives", &drives)) {
    return error;
  }
  for (const ComPtr<IVdsDrive>& drive : drives) {
    ComPtr<IVdsDrive2> drive2;
    if (CallResult error = Query(drive.Get(), &drive2)) return error;
    VDS_DRIVE_PROP2 prop{};
    if (CallResult error = Check(drive2->GetProperties2(&prop), "IVdsDrive2::GetProperties2")) {
      return error;
    }
    TakeText(prop.pwszFriendlyName);
    (*names)[prop.id] = TakeText(prop.pwszIdentification).value_or("");
  }
  return {};
}

// The plexes of a LUN in an order that stays from one load to the next. A LUN lists its plexes
// in the order of their fresh ids and a plex shows no identification of its own, so a plex goes
// by the lowest identification of the drives its extents lie on. `driveNames` is filled on
// first use.
CallResult OrderedPlexes(IVdsSubSystem* subsystem, IVdsLun* lun,
                         std::map<GUID, std::string>* driveNames,
                         std::vector<ComPtr<IVdsLunPlex>>* plexes) {
  if (CallResult error = PlexObjects(lun, plexes)) return error;
  if (plexes->size() < 2) return {};
  if (driveNames->empty()) {
    if (CallResult error = DriveNames(subsystem, driveNames)) return error;
  }
  std::vector<std::pair<std::string, ComPtr<IVdsLunPlex>>> keyed;
  for (ComPtr<IVdsLunPlex>& plex : *plexes) {
    VDS_DRIVE_EXTENT* extents = nullptr;
    LONG count = 0;
    const HRESULT hr = plex->QueryExtents(&extents, &count);
    std::optional<std::string> key;
    if (extents != nullptr) {
      for (LONG e = 0; SUCCEEDED(hr) && e < count; ++e) {
        auto name = driveNames->find(extents[e].id);
        if (name != driveNames->end() && (!key || name->second < *key)) key = name->second;
      }
      CoTaskMemFree(extents);
    }
    if (CallResult error = Check(hr, "IVdsLunPlex::QueryExtents")) return error;
    keyed.emplace_back(key.value_or(""), std::move(plex));
  }
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  plexes->clear();
  for (auto& [key, plex] : keyed) plexes->push_back(std::move(plex));
  return {};
}

}  // namespace

CallResult Model::Controllers(std::optional<int> only, std::vector<ControllerRow>* rows) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(only, &subsystems)) return error;
  for (const Subsystem& subsystem : subsystems) {
    std::vector<ComPtr<IVdsController>> controllers;
    if (CallResult error = ControllerObjects(subsystem.object.Get(), &controllers)) return error;
    for (size_t i = 0; i < controllers.size(); ++i) {
      ControllerRow row;
      row.index = static_cast<int>(i);
      row.subsystem = subsystem.index;
      if (CallResult error =
              Check(controllers[i]->GetProperties(&row.prop), "IVdsController::GetProperties")) {
        return error;
      }
      row.pwszFriendlyName = TakeText(std::exchange(row.prop.pwszFriendlyName, nullptr));
      row.pwszIdentification = TakeText(std::exchange(row.prop.pwszIdentification, nullptr));
      rows->push_back(std::move(row));
    }
  }
  return {};
}

CallResult Model::Ports(std::optional<int> only, std::vector<PortRow>* rows) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(only, &subsystems)) return error;
  for (const Subsystem& subsystem : subsystems) {
    std::vector<ComPtr<IVdsController>> controllers;
    if (CallResult error = ControllerObjects(subsystem.object.Get(), &controllers)) return error;
    std::vector<PortRow> ports;
    for (size_t c = 0; c < controllers.size(); ++c) {
      ComPtr<IVdsControllerControllerPort> portList;
      if (CallResult error = Query(controllers[c].Get(), &portList)) return error;
      std::vector<ComPtr<IVdsControllerPort>> objects;
      if (CallResult error =
              List([&](IEnumVdsObject** list) { return portList->QueryControllerPorts(list); },
                   "IVdsControllerControllerPort::QueryControllerPorts", &objects)) {
        return error;
      }
      for (const ComPtr<IVdsControllerPort>& port : objects) {
        PortRow row;
        row.subsystem = subsystem.index;
        row.controller = static_cast<int>(c);
        if (CallResult error =
                Check(port->GetProperties(&row.prop), "IVdsControllerPort::GetProperties")) {
          return error;
        }
        row.pwszFriendlyName = TakeText(std::exchange(row.prop.pwszFriendlyName, nullptr));
        row.pwszIdentification = TakeText(std::exchange(row.prop.pwszIdentification, nullptr));
        ports.push_back(std::move(row));
      }
    }
    // A controller lists its ports in the order of their fresh ids; their identification is
    // what stays from one load to the next.
    std::stable_sort(ports.begin(), ports.end(), [](const PortRow& a, const PortRow& b) {
      return a.pwszIdentification.value_or("") < b.pwszIdentification.value_or("");
    });
    for (size_t i = 0; i < ports.size(); ++i) {
      ports[i].index = static_cast<int>(i);
      rows->push_back(std::move(ports[i]));
    }
  }
  return {};
}

CallResult Model::Drives(std::optional<int> only, std::vector<DriveRow>* rows) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(only, &subsystems)) return error;
  for (const Subsystem& subsystem : subsystems) {
    std::vector<ComPtr<IVdsDrive>> drives;
    if (CallResult error =
            List([&](IEnumVdsObject** list) { return subsystem.object->QueryDrives(list); },
                 "IVdsSubSystem::QueryDrives", &drives)) {
      return error;
    }
    for (size_t i = 0; i < drives.size(); ++i) {
      ComPtr<IVdsDrive2> drive2;
      if (CallResult error = Query(drives[i].Get(), &drive2)) return error;
      DriveRow row;
      row.index = static_cast<int>(i);
      row.subsystem = subsystem.index;
      if (CallResult error =
              Check(drive2->GetProperties2(&row.prop), "IVdsDrive2::GetProperties2")) {
        return error;
      }
      row.pwszFriendlyName = TakeText(std::exchange(row.prop.pwszFriendlyName, nullptr));
      row.pwszIdentification = TakeText(std::exchange(row.prop.pwszIdentification, nullptr));
      VDS_DRIVE_EXTENT* extents = nullptr;
      LONG count = 0;
      const HRESULT hr = drives[i]->QueryExtents(&extents, &count);
      if (extents != nullptr) {
        if (SUCCEEDED(hr)) row.extents.assign(extents, extents + (count > 0 ? count : 0));
        CoTaskMemFree(extents);
      }
      if (CallResult error = Check(hr, "IVdsDrive::QueryExtents")) return error;
      rows->push_back(std::move(row));
    }
  }
  return {};
}

CallResult Model::Luns(std::optional<int> only, std::vector<LunRow>* rows) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(only, &subsystems)) return error;
  for (const Subsystem& subsystem : subsystems) {
    std::vector<ComPtr<IVdsLun>> luns;
    if (CallResult error = LunObjects(subsystem.object.Get(), &luns)) return error;
    std::map<GUID, std::string> driveNames;
    for (size_t i = 0; i < luns.size(); ++i) {
      LunRow row;
      row.index = static_cast<int>(i);
      row.subsystem = subsystem.index;
      if (CallResult error = Check(luns[i]->GetProperties(&row.prop), "IVdsLun::GetProperties")) {
        return error;
      }
      row.pwszFriendlyName = TakeText(std::exchange(row.prop.pwszFriendlyName, nullptr));
      row.pwszIdentification = TakeText(std::exchange(row.prop.pwszIdentification, nullptr));
      row.pwszUnmaskingList = TakeText(std::exchange(row.prop.pwszUnmaskingList, nullptr));
      std::vector<ComPtr<IVdsLunPlex>> plexes;
      if (CallResult error =
              OrderedPlexes(subsystem.object.Get(), luns[i].Get(), &driveNames, &plexes)) {
        return error;
      }
      for (const ComPtr<IVdsLunPlex>& plex : plexes) {
        VDS_LUN_PLEX_PROP prop{};
        if (CallResult error = PlexProperties(plex.Get(), &prop)) return error;
        row.plexes.push_back(prop.id);
      }
      rows->push_back(std::move(row));
    }
  }
  return {};
}

CallResult Model::Plexes(std::optional<int> only, std::vector<PlexRow>* rows) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(only, &subsystems)) return error;
  for (const Subsystem& subsystem : subsystems) {
    std::vector<ComPtr<IVdsLun>> luns;
    if (CallResult error = LunObjects(subsystem.object.Get(), &luns)) return error;
    std::map<GUID, std::string> driveNames;
    int index = 0;
    for (size_t l = 0; l < luns.size(); ++l) {
      std::vector<ComPtr<IVdsLunPlex>> plexes;
      if (CallResult error =
              OrderedPlexes(subsystem.object.Get(), luns[l].Get(), &driveNames, &plexes)) {
        return error;
      }
      for (const ComPtr<IVdsLunPlex>& plex : plexes) {
        PlexRow row;
        row.index = index++;
        row.subsystem = subsystem.index;
        row.lun = static_cast<int>(l);
        if (CallResult error = PlexProperties(plex.Get(), &row.prop)) return error;
        rows->push_back(std::move(row));
      }
    }
  }
  return {};
}

CallResult Model::Pools(std::vector<PoolRow>* rows) {
  // A pool belongs to the provider; it lies on the drives of one subsystem.
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(std::nullopt, &subsystems)) return error;
  std::map<GUID, int> driveSubsystem;
  for (const Subsystem& subsystem : subsystems) {
    std::map<GUID, std::string> names;
    if (CallResult error = DriveNames(subsystem.object.Get(), &names)) return error;
    for (const auto& [id, name] : names) driveSubsystem[id] = subsystem.index;
  }
  ComPtr<IVdsHwProviderStoragePools> poolProvider;
  if (CallResult error = Query(provider_, &poolProvider)) return error;
  std::vector<ComPtr<IVdsStoragePool>> pools;
  if (CallResult error = List(
          [&](IEnumVdsObject** list) {
            return poolProvider->QueryStoragePools(0, 0, nullptr, list);
          },
          "IVdsHwProviderStoragePools::QueryStoragePools", &pools)) {
    return error;
  }
  for (size_t i = 0; i < pools.size(); ++i) {
    PoolRow row;
    row.index = static_cast<int>(i);
    if (CallResult error =
            Check(pools[i]->GetProperties(&row.prop), "IVdsStoragePool::GetProperties")) {
      return error;
    }
    row.pwszName = TakeText(std::exchange(row.prop.pwszName, nullptr));
    row.pwszDescription = TakeText(std::exchange(row.prop.pwszDescription, nullptr));
    VDS_STORAGE_POOL_DRIVE_EXTENT* extents = nullptr;
    LONG count = 0;
    const HRESULT hr = pools[i]->QueryDriveExtents(&extents, &count);
    if (extents != nullptr) {
      for (LONG e = 0; SUCCEEDED(hr) && e < count && !row.subsystem; ++e) {
        auto found = driveSubsystem.find(extents[e].id);
        if (found != driveSubsystem.end()) row.subsystem = found->second;
      }
      CoTaskMemFree(extents);
    }
    if (CallResult error = Check(hr, "IVdsStoragePool::QueryDriveExtents")) return error;
    if (CallResult error =
            Check(pools[i]->GetAttributes(&row.attributes), "IVdsStoragePool::GetAttributes")) {
      return error;
    }
    row.pwszIntendedUsage = TakeText(std::exchange(row.attributes.pwszIntendedUsage, nullptr));
    VDS_POOL_CUSTOM_ATTRIBUTES* custom =
        std::exchange(row.attributes.pPoolCustomAttributes, nullptr);
    if (custom != nullptr) {
      for (ULONG a = 0; a < row.attributes.ulNumOfCustomAttributes; ++a) {
        row.customAttributes.emplace_back(TakeText(custom[a].pwszName),
                                          TakeText(custom[a].pwszValue));
      }
      CoTaskMemFree(custom);
    }
    rows->push_back(std::move(row));
  }
  return {};
}

CallResult Model::Refresh() {
  ComPtr<IVdsHwProvider> hw;
  if (CallResult error = HwProvider(&hw)) return error;
  return Check(hw->Refresh(), "IVdsHwProvider::Refresh");
}

CallResult Model::ReenumerateSubsystems() {
  ComPtr<IVdsHwProvider> hw;
  if (CallResult error = HwProvider(&hw)) return error;
  return Check(hw->Reenumerate(), "IVdsHwProvider::Reenumerate");
}

CallResult Model::ReenumerateDrives(std::optional<int> only) {
  std::vector<Subsystem> subsystems;
  if (CallResult error = SubsystemObjects(only, &subsystems)) return error;
  for (const Subsystem& subsystem : subsystems) {
    if (CallResult error = Check(subsystem.object->Reenumerate(), "IVdsSubSystem::Reenumerate")) {
      return error;
    }
  }
  return {};
}

}  // namespace vdsctl
