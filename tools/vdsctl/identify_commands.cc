#include "tools/vdsctl/identify_commands.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "platform/strings.h"
#include "tools/vdsctl/disk_identity.h"
#include "tools/vdsctl/table.h"

namespace vdsctl {

namespace {

std::string Hex(const BYTE* bytes, ULONG count) {
  std::string text;
  char digits[3];
  for (ULONG i = 0; bytes != nullptr && i < count; ++i) {
    std::snprintf(digits, sizeof(digits), "%02x", bytes[i]);
    text += digits;
  }
  return text;
}

Json TextOrNull(const char* text) { return text == nullptr ? Json() : Json(std::string(text)); }

std::string Trimmed(const std::string& text) {
  const size_t last = text.find_last_not_of(' ');
  return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

Json AddressJson(const std::optional<ScsiAddress>& address) {
  if (!address) return Json();
  return Json::array({address->port, address->bus, address->target, address->lun});
}

std::string AddressText(const std::optional<ScsiAddress>& address) {
  if (!address) return "-";
  return std::to_string(address->port) + ":" + std::to_string(address->bus) + ":" +
         std::to_string(address->target) + ":" + std::to_string(address->lun);
}

// Frees what GetIdentificationData handed out.
class LunInformationHolder {
 public:
  LunInformationHolder() = default;
  ~LunInformationHolder() {
    CoTaskMemFree(info.m_szVendorId);
    CoTaskMemFree(info.m_szProductId);
    CoTaskMemFree(info.m_szProductRevision);
    CoTaskMemFree(info.m_szSerialNumber);
    VDS_STORAGE_IDENTIFIER* ids = info.m_deviceIdDescriptor.m_rgIdentifiers;
    for (ULONG i = 0; ids != nullptr && i < info.m_deviceIdDescriptor.m_cIdentifiers; ++i) {
      CoTaskMemFree(ids[i].m_rgbIdentifier);
    }
    CoTaskMemFree(ids);
    for (ULONG i = 0; info.m_rgInterconnects != nullptr && i < info.m_cInterconnects; ++i) {
      CoTaskMemFree(info.m_rgInterconnects[i].m_pbPort);
      CoTaskMemFree(info.m_rgInterconnects[i].m_pbAddress);
    }
    CoTaskMemFree(info.m_rgInterconnects);
  }
  LunInformationHolder(const LunInformationHolder&) = delete;
  LunInformationHolder& operator=(const LunInformationHolder&) = delete;

  VDS_LUN_INFORMATION info{};
};

// The LUN the provider names for the disk: S_OK with the id, S_FALSE when none.
HRESULT QueryLun(IVdsProvider* provider, const DiskIdentity& identity, GUID* lunId) {
  ComPtr<IVdsHwProviderPrivate> hw;
  HRESULT hr = provider->QueryInterface(IID_IVdsHwProviderPrivate,
                                        reinterpret_cast<void**>(hw.ReleaseAndGetAddressOf()));
  if (hr < 0) return hr;
  LunInformation information(identity);
  std::u16string path = Utf8ToUtf16(identity.path);
  return hw->QueryIfCreatedLun(path.data(), information.Get(), lunId);
}

constexpr char kQueryCall[] = "IVdsHwProviderPrivate::QueryIfCreatedLun";

}  // namespace

Json LunInformationJson(const VDS_LUN_INFORMATION& info) {
  Json ids = Json::array();
  const VDS_STORAGE_DEVICE_ID_DESCRIPTOR& descriptor = info.m_deviceIdDescriptor;
  for (ULONG i = 0; descriptor.m_rgIdentifiers != nullptr && i < descriptor.m_cIdentifiers; ++i) {
    const VDS_STORAGE_IDENTIFIER& id = descriptor.m_rgIdentifiers[i];
    ids.push_back({{"type", id.m_Type},
                   {"codeSet", id.m_CodeSet},
                   {"hex", Hex(id.m_rgbIdentifier, id.m_cbIdentifier)}});
  }
  return Json{{"m_version", info.m_version},
              {"m_DeviceType", info.m_DeviceType},
              {"m_DeviceTypeModifier", info.m_DeviceTypeModifier},
              {"m_bCommandQueueing", info.m_bCommandQueueing},
              {"m_BusType", info.m_BusType},
              {"m_szVendorId", TextOrNull(info.m_szVendorId)},
              {"m_szProductId", TextOrNull(info.m_szProductId)},
              {"m_szProductRevision", TextOrNull(info.m_szProductRevision)},
              {"m_szSerialNumber", TextOrNull(info.m_szSerialNumber)},
              {"m_diskSignature", GuidToString(info.m_diskSignature)},
              {"m_deviceIdDescriptor",
               {{"m_version", descriptor.m_version},
                {"m_cIdentifiers", descriptor.m_cIdentifiers},
                {"m_rgIdentifiers", ids}}},
              {"m_cInterconnects", info.m_cInterconnects}};
}

std::string LunInformationText(const VDS_LUN_INFORMATION& info) {
  auto text = [](const char* value) { return value == nullptr ? std::string("-") : value; };
  std::string out = "Identification:\n";
  out += "  Vendor     : " + text(info.m_szVendorId) + "\n";
  out += "  Product    : " + text(info.m_szProductId) + "\n";
  out += "  Revision   : " + text(info.m_szProductRevision) + "\n";
  out += "  Serial     : " + text(info.m_szSerialNumber) + "\n";
  out += "  Signature  : " + GuidToString(info.m_diskSignature) + "\n";
  const VDS_STORAGE_DEVICE_ID_DESCRIPTOR& descriptor = info.m_deviceIdDescriptor;
  for (ULONG i = 0; descriptor.m_rgIdentifiers != nullptr && i < descriptor.m_cIdentifiers; ++i) {
    const VDS_STORAGE_IDENTIFIER& id = descriptor.m_rgIdentifiers[i];
    out += "  Identifier : type " + std::to_string(id.m_Type) + ", code set " +
           std::to_string(id.m_CodeSet) + ", " + Hex(id.m_rgbIdentifier, id.m_cbIdentifier) + "\n";
  }
  return out;
}

CallResult GetLunIdentification(IVdsProvider* provider, const GUID& lunId, Json* json,
                                std::string* text) {
  ComPtr<IVdsProviderPrivate> priv;
  HRESULT hr = provider->QueryInterface(IID_IVdsProviderPrivate,
                                        reinterpret_cast<void**>(priv.ReleaseAndGetAddressOf()));
  if (hr < 0) return CallError{hr, "IUnknown::QueryInterface(IVdsProviderPrivate)"};
  ComPtr<IUnknown> object;
  hr = priv->GetObject(lunId, VDS_OT_LUN, object.ReleaseAndGetAddressOf());
  if (hr < 0) return CallError{hr, "IVdsProviderPrivate::GetObject"};
  ComPtr<IVdsLun> lun;
  hr = object->QueryInterface(IID_IVdsLun, reinterpret_cast<void**>(lun.ReleaseAndGetAddressOf()));
  if (hr < 0) return CallError{hr, "IUnknown::QueryInterface(IVdsLun)"};
  LunInformationHolder holder;
  hr = lun->GetIdentificationData(&holder.info);
  if (hr < 0) return CallError{hr, "IVdsLun::GetIdentificationData"};
  *json = LunInformationJson(holder.info);
  *text = LunInformationText(holder.info);
  return std::nullopt;
}

IdentifyCommands::IdentifyCommands(IVdsProvider* provider, Model* model, Output* output)
    : provider_(provider), model_(model), output_(output) {}

ExitCode IdentifyCommands::ListDisks() {
  // The LUN list first: it also brings the provider's tree up to date.
  std::vector<LunRow> luns;
  if (CallResult error = model_->Luns(std::nullopt, &luns)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  Json disks = Json::array();
  Table table({{"Path"}, {"Address"}, {"Vendor"}, {"Product"}, {"Serial"}, {"LUN"}});
  for (const ScsiDeviceName& name : ListScsiDeviceNames()) {
    DiskIdentity identity;
    std::string problem;
    const bool read = ReadDiskIdentity(name.node, &identity, &problem);
    GUID lunId = GUID_NULL;
    const LunRow* match = nullptr;
    if (read) {
      const HRESULT hr = QueryLun(provider_, identity, &lunId);
      if (hr < 0) {
        output_->CallFailed({hr, kQueryCall});
        return kExitFatal;
      }
      for (const LunRow& row : luns) {
        if (hr == S_OK && row.prop.id == lunId) match = &row;
      }
    }
    Json disk{{"path", name.node},
              {"address", AddressJson(identity.address)},
              {"vendor", Trimmed(identity.vendor)},
              {"product", Trimmed(identity.product)},
              {"serial", identity.serial},
              {"lun", match != nullptr ? Json(GuidToString(match->prop.id)) : Json()},
              {"lunIndex", match != nullptr ? Json(match->index) : Json()},
              {"subsystem", match != nullptr ? Json(match->subsystem) : Json()}};
    if (!read) disk["problem"] = problem;
    disks.push_back(std::move(disk));
    table.AddRow({name.node, AddressText(identity.address), Trimmed(identity.vendor),
                  Trimmed(identity.product), identity.serial,
                  match != nullptr
                      ? std::to_string(match->subsystem) + "/" + std::to_string(match->index)
                      : (read ? "-" : "(unreadable)")});
  }
  if (output_->Json()) {
    output_->Document(Json{{"disks", std::move(disks)}});
  } else {
    output_->Text(disks.empty() ? "The host has no SCSI disks.\n"
                                : table.Render() + "(LUN as subsystem/LUN number.)\n");
  }
  return kExitOk;
}

ExitCode IdentifyCommands::IdentifyDevice(const std::string& path) {
  std::vector<LunRow> luns;
  if (CallResult error = model_->Luns(std::nullopt, &luns)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  DiskIdentity identity;
  std::string problem;
  if (!ReadDiskIdentity(path, &identity, &problem)) {
    output_->Problem(problem, Json{{"path", path}});
    return kExitFatal;
  }
  GUID lunId = GUID_NULL;
  const HRESULT hr = QueryLun(provider_, identity, &lunId);
  if (hr < 0) {
    output_->CallFailed({hr, kQueryCall});
    return kExitFatal;
  }
  const LunRow* match = nullptr;
  for (const LunRow& row : luns) {
    if (hr == S_OK && row.prop.id == lunId) match = &row;
  }
  if (match == nullptr) {
    // Not one of ours: the answer a lookup that finds nothing gives.
    output_->CallFailed({VDS_E_OBJECT_NOT_FOUND, kQueryCall});
    return kExitFatal;
  }
  if (output_->Json()) {
    output_->Document(Json{{"path", path},
                           {"address", AddressJson(identity.address)},
                           {"vendor", Trimmed(identity.vendor)},
                           {"product", Trimmed(identity.product)},
                           {"serial", identity.serial},
                           {"lun", GuidToString(match->prop.id)},
                           {"lunIndex", match->index},
                           {"subsystem", match->subsystem}});
  } else {
    output_->Text(path + " is LUN " + std::to_string(match->index) + " of subsystem " +
                  std::to_string(match->subsystem) + " (" + GuidToString(match->prop.id) +
                  ").\n  Address : " + AddressText(identity.address) + "\n  Vendor  : " +
                  Trimmed(identity.vendor) + "\n  Product : " + Trimmed(identity.product) +
                  "\n  Serial  : " + identity.serial + "\n");
  }
  return kExitOk;
}

}  // namespace vdsctl
