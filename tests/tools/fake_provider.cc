#include "tests/tools/fake_provider.h"

#include <cstring>
#include <string>

#include "platform/strings.h"

namespace vdsctl_test {

namespace {

LPWSTR Dup(const std::string& text) {
  const std::u16string wide = Utf8ToUtf16(text);
  auto* out = static_cast<LPWSTR>(CoTaskMemAlloc((wide.size() + 1) * sizeof(WCHAR)));
  std::memcpy(out, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
  return out;
}

class FakeEnum : public ComObject<IEnumVdsObject> {
 public:
  explicit FakeEnum(std::vector<ComPtr<IUnknown>> items) : items_(std::move(items)) {}
  HRESULT Next(ULONG celt, IUnknown** out, ULONG* fetched) override {
    *fetched = 0;
    while (*fetched < celt && position_ < items_.size()) {
      IUnknown* item = items_[position_++].Get();
      item->AddRef();
      out[(*fetched)++] = item;
    }
    return *fetched == celt ? S_OK : S_FALSE;
  }
  HRESULT Skip(ULONG) override { return E_NOTIMPL; }
  HRESULT Reset() override {
    position_ = 0;
    return S_OK;
  }
  HRESULT Clone(IEnumVdsObject**) override { return E_NOTIMPL; }

 private:
  ~FakeEnum() override = default;
  std::vector<ComPtr<IUnknown>> items_;
  size_t position_ = 0;
};

template <class Object>
std::vector<ComPtr<IUnknown>> Unknowns(const std::vector<ComPtr<Object>>& objects) {
  std::vector<ComPtr<IUnknown>> out;
  for (const auto& object : objects) out.emplace_back(object->GetUnknown());
  return out;
}

HRESULT HandOut(std::vector<ComPtr<IUnknown>> items, IEnumVdsObject** list) {
  auto* fake = new FakeEnum(std::move(items));
  fake->AddRef();
  *list = fake;
  return S_OK;
}

class FakePlex : public ComObject<IVdsLunPlex> {
 public:
  // The plex lies on drive `drive` of the first subsystem.
  FakePlex(uint32_t number, VDS_LUN_PLEX_TYPE type, uint32_t drive) : drive_(drive) {
    prop_.id = TestId(number, kPlexTag);
    prop_.ullSize = 10ull << 30;
    prop_.type = type;
    prop_.status = VDS_LPS_ONLINE;
    prop_.health = VDS_H_HEALTHY;
    prop_.ulStripeSize = 64 << 10;
  }
  HRESULT GetProperties(VDS_LUN_PLEX_PROP* prop) override {
    *prop = prop_;
    return S_OK;
  }
  HRESULT GetLun(IVdsLun**) override { return E_NOTIMPL; }
  HRESULT QueryExtents(VDS_DRIVE_EXTENT** extents, LONG* count) override {
    *extents = static_cast<VDS_DRIVE_EXTENT*>(CoTaskMemAlloc(sizeof(VDS_DRIVE_EXTENT)));
    **extents = VDS_DRIVE_EXTENT{TestId(drive_, kDriveTag), prop_.id, prop_.ullSize, TRUE};
    *count = 1;
    return S_OK;
  }
  HRESULT QueryHints(VDS_HINTS*) override { return E_NOTIMPL; }
  HRESULT ApplyHints(VDS_HINTS*) override { return E_NOTIMPL; }

 private:
  ~FakePlex() override = default;
  VDS_LUN_PLEX_PROP prop_{};
  uint32_t drive_;
};

class FakeLun : public ComObject<IVdsLun> {
 public:
  FakeLun(uint32_t number, int plexCount) : number_(number) {
    for (int i = 0; i < plexCount; ++i) {
      // Later plexes lie on lower drives, against the list order.
      plexes_.emplace_back(
          new FakePlex(number * 10 + i, VDS_LPT_RAID5, static_cast<uint32_t>(plexCount - i)));
    }
  }
  HRESULT GetProperties(VDS_LUN_PROP* prop) override {
    *prop = VDS_LUN_PROP{};
    prop->id = TestId(number_, kLunTag);
    prop->ullSize = 10ull << 30;
    prop->pwszFriendlyName = Dup("VDS_LUN_" + std::to_string(number_));
    prop->pwszIdentification = Dup("ident-" + std::to_string(number_));
    prop->pwszUnmaskingList = Dup("*");
    prop->type = VDS_LT_RAID5;
    prop->status = VDS_LS_ONLINE;
    prop->health = VDS_H_HEALTHY;
    prop->TransitionState = VDS_TS_STABLE;
    return S_OK;
  }
  HRESULT GetSubSystem(IVdsSubSystem**) override { return E_NOTIMPL; }
  HRESULT GetIdentificationData(VDS_LUN_INFORMATION*) override { return E_NOTIMPL; }
  HRESULT QueryActiveControllers(IEnumVdsObject**) override { return E_NOTIMPL; }
  HRESULT Extend(ULONGLONG, VDS_OBJECT_ID*, LONG, IVdsAsync**) override { return E_NOTIMPL; }
  HRESULT Shrink(ULONGLONG, IVdsAsync**) override { return E_NOTIMPL; }
  HRESULT QueryPlexes(IEnumVdsObject** list) override { return HandOut(Unknowns(plexes_), list); }
  HRESULT AddPlex(VDS_OBJECT_ID, IVdsAsync**) override { return E_NOTIMPL; }
  HRESULT RemovePlex(VDS_OBJECT_ID, IVdsAsync**) override { return E_NOTIMPL; }
  HRESULT Recover(IVdsAsync**) override { return E_NOTIMPL; }
  HRESULT SetMask(LPWSTR) override { return E_NOTIMPL; }
  HRESULT Delete() override { return E_NOTIMPL; }
  HRESULT AssociateControllers(VDS_OBJECT_ID*, LONG, VDS_OBJECT_ID*, LONG) override {
    return E_NOTIMPL;
  }
  HRESULT QueryHints(VDS_HINTS*) override { return E_NOTIMPL; }
  HRESULT ApplyHints(VDS_HINTS*) override { return E_NOTIMPL; }
  HRESULT SetStatus(VDS_LUN_STATUS) override { return E_NOTIMPL; }
  HRESULT QueryMaxLunExtendSize(VDS_OBJECT_ID*, LONG, ULONGLONG*) override { return E_NOTIMPL; }

 private:
  ~FakeLun() override = default;
  uint32_t number_;
  std::vector<ComPtr<FakePlex>> plexes_;
};

class FakeDrive : public ComObject<IVdsDrive, IVdsDrive2> {
 public:
  FakeDrive(uint32_t number, SHORT slot, FakeSettings* settings)
      : number_(number), slot_(slot), settings_(settings) {}
  HRESULT GetProperties(VDS_DRIVE_PROP*) override { return E_NOTIMPL; }
  HRESULT GetProperties2(VDS_DRIVE_PROP2* prop) override {
    *prop = VDS_DRIVE_PROP2{};
    prop->id = TestId(number_, kDriveTag);
    prop->ullSize = 100ull << 30;
    prop->pwszFriendlyName = Dup("Drive serial " + std::to_string(number_));
    prop->pwszIdentification = Dup("DRV-" + std::to_string(number_));
    prop->status = VDS_DRS_ONLINE;
    prop->health = VDS_H_HEALTHY;
    prop->sSlotNumber = slot_;
    prop->busType = VDSBusTypeSas;
    return S_OK;
  }
  HRESULT GetSubSystem(IVdsSubSystem**) override { return E_NOTIMPL; }
  HRESULT QueryExtents(VDS_DRIVE_EXTENT** extents, LONG* count) override {
    *count = 2;
    *extents = static_cast<VDS_DRIVE_EXTENT*>(CoTaskMemAlloc(2 * sizeof(VDS_DRIVE_EXTENT)));
    (*extents)[0] = {TestId(number_, kDriveTag), TestId(0, kLunTag), 30ull << 30, TRUE};
    (*extents)[1] = {TestId(number_, kDriveTag), GUID_NULL, 70ull << 30, FALSE};
    return settings_->extentsResult;
  }
  HRESULT SetFlags(ULONG) override { return E_NOTIMPL; }
  HRESULT ClearFlags(ULONG) override { return E_NOTIMPL; }
  HRESULT SetStatus(VDS_DRIVE_STATUS) override { return E_NOTIMPL; }

 private:
  ~FakeDrive() override = default;
  uint32_t number_;
  SHORT slot_;
  FakeSettings* settings_;
};

class FakePort : public ComObject<IVdsControllerPort> {
 public:
  explicit FakePort(uint32_t number) : number_(number) {}
  HRESULT GetProperties(VDS_PORT_PROP* prop) override {
    *prop = VDS_PORT_PROP{};
    prop->id = TestId(number_, kPortTag);
    prop->pwszFriendlyName = Dup("Port " + std::to_string(number_));
    // Against the list order within a controller, so that the numbering has to sort.
    prop->pwszIdentification =
        Dup("P" + std::to_string(number_ / 10) + "-" + std::to_string(9 - number_ % 10));
    prop->status = VDS_PRS_ONLINE;
    return S_OK;
  }
  HRESULT GetController(IVdsController**) override { return E_NOTIMPL; }
  HRESULT QueryAssociatedLuns(IEnumVdsObject**) override { return E_NOTIMPL; }
  HRESULT Reset() override { return E_NOTIMPL; }
  HRESULT SetStatus(VDS_PORT_STATUS) override { return E_NOTIMPL; }

 private:
  ~FakePort() override = default;
  uint32_t number_;
};

class FakeController : public ComObject<IVdsController, IVdsControllerControllerPort> {
 public:
  FakeController(uint32_t number, int portCount) : number_(number) {
    for (int i = 0; i < portCount; ++i) ports_.emplace_back(new FakePort(number * 10 + i));
  }
  HRESULT GetProperties(VDS_CONTROLLER_PROP* prop) override {
    *prop = VDS_CONTROLLER_PROP{};
    prop->id = TestId(number_, kControllerTag);
    prop->pwszFriendlyName = Dup(number_ % 2 == 0 ? "Controller A" : "Controller B");
    prop->status = VDS_CS_ONLINE;
    prop->health = VDS_H_HEALTHY;
    prop->sNumberOfPorts = static_cast<SHORT>(ports_.size());
    return S_OK;
  }
  HRESULT GetSubSystem(IVdsSubSystem**) override { return E_NOTIMPL; }
  HRESULT GetPortProperties(SHORT, VDS_PORT_PROP*) override { return E_NOTIMPL; }
  HRESULT FlushCache() override { return E_NOTIMPL; }
  HRESULT InvalidateCache() override { return E_NOTIMPL; }
  HRESULT Reset() override { return E_NOTIMPL; }
  HRESULT QueryAssociatedLuns(IEnumVdsObject**) override { return E_NOTIMPL; }
  HRESULT SetStatus(VDS_CONTROLLER_STATUS) override { return E_NOTIMPL; }
  HRESULT QueryControllerPorts(IEnumVdsObject** list) override {
    return HandOut(Unknowns(ports_), list);
  }

 private:
  ~FakeController() override = default;
  uint32_t number_;
  std::vector<ComPtr<FakePort>> ports_;
};

class FakeSubSystem : public ComObject<IVdsSubSystem, IVdsSubSystem2> {
 public:
  FakeSubSystem(uint32_t number, FakeSettings* settings) : number_(number), settings_(settings) {}
  std::vector<ComPtr<FakeController>> controllers;
  std::vector<ComPtr<FakeDrive>> drives;
  std::vector<ComPtr<FakeLun>> luns;

  HRESULT GetProperties(VDS_SUB_SYSTEM_PROP*) override { return E_NOTIMPL; }
  HRESULT GetProperties2(VDS_SUB_SYSTEM_PROP2* prop) override {
    *prop = VDS_SUB_SYSTEM_PROP2{};
    prop->id = TestId(number_, kSubsystemTag);
    prop->pwszFriendlyName = Dup("Array " + std::to_string(number_));
    prop->pwszIdentification = Dup("SN-" + std::to_string(number_));
    prop->status = VDS_SSS_ONLINE;
    prop->health = VDS_H_HEALTHY;
    prop->ulSupportedRaidTypeFlags = 0x91A;
    return S_OK;
  }
  HRESULT GetProvider(IVdsProvider**) override { return E_NOTIMPL; }
  HRESULT QueryControllers(IEnumVdsObject** list) override {
    return HandOut(Unknowns(controllers), list);
  }
  HRESULT QueryLuns(IEnumVdsObject** list) override { return HandOut(Unknowns(luns), list); }
  HRESULT QueryDrives(IEnumVdsObject** list) override { return HandOut(Unknowns(drives), list); }
  HRESULT GetDrive(SHORT, SHORT, IVdsDrive**) override { return E_NOTIMPL; }
  HRESULT Reenumerate() override {
    ++settings_->reenumerateDriveCalls;
    return S_OK;
  }
  HRESULT SetControllerStatus(VDS_OBJECT_ID*, LONG, VDS_OBJECT_ID*, LONG) override {
    return E_NOTIMPL;
  }
  HRESULT CreateLun(VDS_LUN_TYPE, ULONGLONG, VDS_OBJECT_ID*, LONG, LPWSTR, VDS_HINTS*,
                    IVdsAsync**) override {
    return E_NOTIMPL;
  }
  HRESULT ReplaceDrive(VDS_OBJECT_ID, VDS_OBJECT_ID) override { return E_NOTIMPL; }
  HRESULT SetStatus(VDS_SUB_SYSTEM_STATUS) override { return E_NOTIMPL; }
  HRESULT QueryMaxLunCreateSize(VDS_LUN_TYPE, VDS_OBJECT_ID*, LONG, VDS_HINTS*,
                                ULONGLONG*) override {
    return E_NOTIMPL;
  }
  HRESULT GetDrive2(SHORT, SHORT, ULONG, IVdsDrive**) override { return E_NOTIMPL; }
  HRESULT CreateLun2(VDS_LUN_TYPE, ULONGLONG, VDS_OBJECT_ID*, LONG, LPWSTR, VDS_HINTS2*,
                     IVdsAsync**) override {
    return E_NOTIMPL;
  }
  HRESULT QueryMaxLunCreateSize2(VDS_LUN_TYPE, VDS_OBJECT_ID*, LONG, VDS_HINTS2*,
                                 ULONGLONG*) override {
    return E_NOTIMPL;
  }

 private:
  ~FakeSubSystem() override = default;
  uint32_t number_;
  FakeSettings* settings_;
};

class FakePool : public ComObject<IVdsStoragePool> {
 public:
  explicit FakePool(uint32_t number) : number_(number) {}
  HRESULT GetProvider(IVdsProvider**) override { return E_NOTIMPL; }
  HRESULT GetProperties(VDS_STORAGE_POOL_PROP* prop) override {
    *prop = VDS_STORAGE_POOL_PROP{};
    prop->id = TestId(number_, kPoolTag);
    prop->type = number_ == 0 ? VDS_SPT_PRIMORDIAL : VDS_SPT_CONCRETE;
    prop->status = VDS_SPS_ONLINE;
    prop->health = VDS_H_HEALTHY;
    prop->pwszName = Dup("Pool " + std::to_string(number_));
    prop->pwszDescription = Dup("Description " + std::to_string(number_));
    prop->ullTotalManagedSpace = 1ull << 40;
    return S_OK;
  }
  HRESULT GetAttributes(VDS_POOL_ATTRIBUTES* attributes) override {
    *attributes = VDS_POOL_ATTRIBUTES{};
    attributes->raidType = VDS_RT_RAID5;
    attributes->pwszIntendedUsage = Dup("general");
    attributes->ulNumOfCustomAttributes = 1;
    attributes->pPoolCustomAttributes = static_cast<VDS_POOL_CUSTOM_ATTRIBUTES*>(
        CoTaskMemAlloc(sizeof(VDS_POOL_CUSTOM_ATTRIBUTES)));
    attributes->pPoolCustomAttributes[0] = {Dup("Owner"), nullptr};
    return S_OK;
  }
  // Pool 0 lies on the drive of the second subsystem, pool 1 on the first drive of the first.
  HRESULT QueryDriveExtents(VDS_STORAGE_POOL_DRIVE_EXTENT** extents, LONG* count) override {
    *extents = static_cast<VDS_STORAGE_POOL_DRIVE_EXTENT*>(
        CoTaskMemAlloc(sizeof(VDS_STORAGE_POOL_DRIVE_EXTENT)));
    **extents = {TestId(number_ == 0 ? 3 : 0, kDriveTag), 1ull << 30, TRUE};
    *count = 1;
    return S_OK;
  }
  HRESULT QueryAllocatedLuns(IEnumVdsObject**) override { return E_NOTIMPL; }
  HRESULT QueryAllocatedStoragePools(IEnumVdsObject**) override { return E_NOTIMPL; }

 private:
  ~FakePool() override = default;
  uint32_t number_;
};

class FakeProvider : public ComObject<IVdsProvider, IVdsHwProvider, IVdsHwProviderStoragePools> {
 public:
  explicit FakeProvider(FakeSettings* settings) : settings_(settings) {
    ComPtr<FakeSubSystem> first(new FakeSubSystem(0, settings));
    first->controllers = {ComPtr<FakeController>(new FakeController(0, 2)),
                          ComPtr<FakeController>(new FakeController(1, 2))};
    for (uint32_t d = 0; d < 3; ++d) {
      first->drives.emplace_back(new FakeDrive(d, static_cast<SHORT>(d + 1), settings));
    }
    first->luns = {ComPtr<FakeLun>(new FakeLun(0, 1)), ComPtr<FakeLun>(new FakeLun(1, 2))};
    ComPtr<FakeSubSystem> second(new FakeSubSystem(1, settings));
    second->controllers = {ComPtr<FakeController>(new FakeController(2, 1))};
    second->drives = {ComPtr<FakeDrive>(new FakeDrive(3, 1, settings))};
    subsystems_ = {first, second};
    pools_ = {ComPtr<FakePool>(new FakePool(0)), ComPtr<FakePool>(new FakePool(1))};
  }
  HRESULT GetProperties(VDS_PROVIDER_PROP* prop) override {
    *prop = VDS_PROVIDER_PROP{};
    prop->pwszName = Dup("Fake Provider");
    prop->pwszVersion = Dup("1.0");
    prop->type = VDS_PT_HARDWARE;
    return S_OK;
  }
  HRESULT QuerySubSystems(IEnumVdsObject** list) override {
    return HandOut(Unknowns(subsystems_), list);
  }
  HRESULT Reenumerate() override { return S_OK; }
  HRESULT Refresh() override {
    ++settings_->refreshCalls;
    return settings_->refreshResult;
  }
  HRESULT QueryStoragePools(DWORD, ULONGLONG, VDS_POOL_ATTRIBUTES*,
                            IEnumVdsObject** list) override {
    if (FAILED(settings_->poolsResult)) return settings_->poolsResult;
    return HandOut(Unknowns(pools_), list);
  }
  HRESULT CreateLunInStoragePool(VDS_LUN_TYPE, ULONGLONG, VDS_OBJECT_ID, LPWSTR, VDS_HINTS2*,
                                 IVdsAsync**) override {
    return E_NOTIMPL;
  }
  HRESULT QueryMaxLunCreateSizeInStoragePool(VDS_LUN_TYPE, VDS_OBJECT_ID, VDS_HINTS2*,
                                             ULONGLONG*) override {
    return E_NOTIMPL;
  }

 private:
  ~FakeProvider() override = default;
  FakeSettings* settings_;
  std::vector<ComPtr<FakeSubSystem>> subsystems_;
  std::vector<ComPtr<FakePool>> pools_;
};

}  // namespace

GUID TestId(uint32_t number, uint8_t kindTag) {
  return GUID{number, 0, 0, {0, 0, 0, 0, 0, 0, 0, kindTag}};
}

IVdsProvider* NewFakeProvider(FakeSettings* settings) {
  auto* provider = new FakeProvider(settings);
  provider->AddRef();
  return provider;
}

}  // namespace vdsctl_test
