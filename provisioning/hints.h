// The decisions of a LUN's hints and names as functions of what the LUN holds and of the
// request: the hints a LUN reports (the level and the snapshot role in the private top bits of
// the mask), which ApplyHints requests are refused, the cache parameters a request leads to,
// the checks and results of a conversion between ordinary LUN and master volume, and the rules
// of a LUN's friendly name. CLun fetches what these need and sends what they decide.
#ifndef VELA_PROVISIONING_HINTS_H_
#define VELA_PROVISIONING_HINTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/hresult.h"
#include "platform/vds_types.h"
#include "proxy/records.h"

// Mask bit 59: an ApplyHints call that converts (bReadBackVerifyEnabled tells the direction).
inline constexpr ULONGLONG kHintConvertBit = 0x0800000000000000ULL;
// A partition name holds no more characters.
inline constexpr size_t kMaxLunNameChars = 20;

// What QueryHints reads of a LUN.
struct LunHintFacts {
  uint32_t stripeSize = 0;  // bytes
  uint8_t raidLevel = 0;
  uint8_t partType = 0;        // 0 ordinary, 1 snap pool, 2 master volume, 3 snapshot
  bool hasDependants = false;  // master volumes of a snap pool, snapshots of a master volume
  uint8_t utility = 0;
  cacheParams cache{};
};

VDS_HINTS QueryHintsFor(const LunHintFacts& facts);
// The VDS_HINTS2 form: the same, and the cache and utility booleans with their mask bits.
VDS_HINTS2 QueryHints2For(const LunHintFacts& facts);

// The refusals of ApplyHints that need nothing fetched: S_OK or VDS_E_NOT_SUPPORTED.
HRESULT CheckApplyHints(const VDS_HINTS& hints);
// The cache parameters the request leaves (write policy by bit 6, read-ahead by bits 2 and 3).
cacheParams ApplyCacheHints(const cacheParams& current, const VDS_HINTS& hints);

// A conversion's checks on the LUN. To a master volume the LUN must be ordinary; back, it must be
// a master volume without snapshots. S_OK or VDS_E_NOT_SUPPORTED.
HRESULT CheckConvertToMaster(uint8_t partType);
HRESULT CheckConvertToStandard(uint8_t partType, bool hasSnapshots);
// convert_master_volume's result: S_OK, VDS_E_PARTITION_LIMIT_REACHED (215, to a master volume
// only) or VDS_E_INTERNAL_ERROR.
HRESULT ConvertResult(bool toMaster, int rc);

// The name a LUN gets from a request: cut to kMaxLunNameChars characters.
std::u16string LunNameFromRequest(const std::u16string& requested);
// True when one of `others` (the other LUNs' names) is `name`.
bool LunNameTaken(const std::u16string& name, const std::vector<std::u16string>& others);
// The name as the controller stores it: UTF-8, cut at a character boundary to `maxBytes`.
std::string NarrowName(const std::u16string& name, size_t maxBytes);

#endif  // VELA_PROVISIONING_HINTS_H_
