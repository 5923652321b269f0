#include "provisioning/mask.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

constexpr size_t kWwnDigits = 16;
// The view's port field: bytes 0x14 to 0x1b, inside the reserved run that starts at 0x12.
constexpr size_t kPortFieldStart = 0x14 - 0x12;
constexpr size_t kPortFieldSize = 8;

bool Holds(const std::vector<std::string>& list, const std::string& entry) {
  return std::find(list.begin(), list.end(), entry) != list.end();
}

}  // namespace

bool ParseUnmaskingList(const std::string& text, UnmaskingList* list) {
  *list = UnmaskingList{};
  if (text.empty()) return true;
  if (text == "*") {
    list->form = MaskForm::kAll;
    return true;
  }
  list->form = MaskForm::kHosts;
  size_t start = 0;
  while (true) {
    const size_t end = std::min(text.find(';', start), text.size());
    std::string entry = text.substr(start, end - start);
    if (entry.size() != kWwnDigits) return false;
    for (char& c : entry) {
      if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
      c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    if (!Holds(list->hosts, entry)) list->hosts.push_back(entry);
    if (end == text.size()) return true;
    start = end + 1;
  }
}

MaskPlan PlanMaskChange(const UnmaskingList& stored, const UnmaskingList& wanted) {
  MaskPlan plan;
  plan.add = wanted.hosts;
  if (stored.form == MaskForm::kHosts) {
    for (const std::string& host : stored.hosts) {
      if (wanted.form != MaskForm::kHosts || !Holds(wanted.hosts, host)) {
        plan.onlyAdding = false;
        break;
      }
    }
    if (plan.onlyAdding) {
      plan.add.clear();
      for (const std::string& host : wanted.hosts) {
        if (!Holds(stored.hosts, host)) plan.add.push_back(host);
      }
    }
  }
  if (wanted.form == MaskForm::kHosts && plan.add.empty()) {
    plan.unchanged = true;
    return plan;
  }
  if (stored.form == MaskForm::kNone) return plan;
  if (stored.form == MaskForm::kHosts && !plan.onlyAdding) plan.removeEach = stored.hosts;
  if (stored.form == MaskForm::kAll || !plan.onlyAdding) {
    plan.removeAll = true;
    plan.clearedOnly = wanted.form == MaskForm::kNone;
  }
  return plan;
}

std::string MaskResult(const UnmaskingList& stored, bool onlyAdding,
                       const std::vector<std::string>& added) {
  std::string result;
  for (const std::string& host : added) {
    if (!result.empty()) result += ';';
    result += host;
  }
  if (stored.form == MaskForm::kHosts && !stored.hosts.empty() && onlyAdding && !result.empty()) {
    std::string kept;
    for (const std::string& host : stored.hosts) {
      if (!kept.empty()) kept += ';';
      kept += host;
    }
    result = kept + ";" + result;
  }
  return result;
}

void ViewUnitsInUse(const partitionView& view, std::vector<uint32_t>* used) {
  if (view.lun != 0) {
    used->push_back(view.lun);
    return;
  }
  static const uint8_t kZero[kPortFieldSize] = {};
  if (std::memcmp(view.reserved_12 + kPortFieldStart, kZero, kPortFieldSize) != 0) {
    used->push_back(0);
  }
}

void ViewUnitsForWwn(const partitionView& view, const uint8_t* wwn, std::vector<uint32_t>* used) {
  const size_t hosts = ValidCount(view.numElements, kMaxViewHosts);
  for (size_t i = 0; i < hosts; ++i) {
    if (std::memcmp(view.hostWwpn[i], wwn, 8) == 0) used->push_back(view.hostMap[i].lun);
  }
}

int FirstFreeUnit(const std::vector<uint32_t>& used, uint32_t start, uint32_t end) {
  for (uint32_t unit = start; unit < end; ++unit) {
    if (std::find(used.begin(), used.end(), unit) == used.end()) return static_cast<int>(unit);
  }
  return -1;
}

void WwnBytes(const std::string& wwn, uint8_t* bytes) {
  for (size_t i = 0; i < 8 && 2 * i + 1 < wwn.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(std::stoi(wwn.substr(2 * i, 2), nullptr, 16));
  }
}
