// The record decoders against arbitrary bytes. The first byte picks a record or a list; the
// rest is the input. Properties checked:
//   - a decoder refuses exactly the inputs shorter than its record;
//   - whatever it accepts, encoding gives back the same bytes;
//   - a list decoder never accepts a count beyond its table or the payload;
//   - walking a decoded controllerData by its bounded counts stays inside the tables.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "proxy/records.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

// The input repeated up to n bytes, so that the large records are exercised whole.
std::vector<uint8_t> Tile(const uint8_t* data, size_t size, size_t n) {
  std::vector<uint8_t> out(n);
  for (size_t i = 0; i < n; ++i) out[i] = size ? data[i % size] : 0;
  return out;
}

template <class R>
void RoundTrip(const uint8_t* data, size_t size) {
  std::unique_ptr<R> rec(new R);
  const bool ok = DecodeRecord(data, size, rec.get());
  Check(ok == (size >= R::kWireSize));
  if (!ok) return;
  std::vector<uint8_t> out(R::kWireSize);
  EncodeRecord(*rec, out.data());
  Check(std::memcmp(out.data(), data, R::kWireSize) == 0);
}

template <class R>
void RoundTripTiled(const uint8_t* data, size_t size) {
  RoundTrip<R>(data, size);
  const auto tiled = Tile(data, size, R::kWireSize);
  RoundTrip<R>(tiled.data(), tiled.size());
}

template <class R>
void List(const ListFormat& f, const uint8_t* data, size_t size) {
  std::vector<R> out;
  if (!DecodeList(f, data, size, &out)) {
    Check(out.empty());
    return;
  }
  Check(out.size() <= f.maxEntries);
  Check(f.entriesOffset + out.size() * R::kWireSize <= size);
}

// What the controller, drive and LUN objects do with a record: every index bounded.
void WalkControllerData(const uint8_t* data, size_t size) {
  const auto tiled = Tile(data, size, kControllerDataSize);
  std::unique_ptr<controllerData> cd(new controllerData);
  Check(DecodeControllerData(tiled.data(), tiled.size(), cd.get()));
  volatile size_t sum = 0;
  for (size_t i = 0; i < ValidCount(cd->numDrives, kMaxDrives); ++i) {
    sum = sum + cd->drives[i].slotNumber;
  }
  for (size_t a = 0; a < ValidCount(cd->numArrays, kMaxArrays); ++a) {
    const array& ar = cd->arrays[a];
    for (size_t m = 0; m < ValidCount(ar.numDrives, VELA_MAX_DRIVES_PER_ARRAY); ++m) {
      sum = sum + ar.memberDrive[m].driveLocation.driveIndex;
    }
    for (size_t p = 0; p < ValidCount(ar.numArrayPartitions, kMaxArrayPartitions); ++p) {
      sum = sum + cd->partitions[a][p].type;
    }
  }
  for (size_t p = 0; p < ValidCount(cd->controller.numPorts, kMaxHostPorts); ++p) {
    sum = sum + cd->controller.ports[p].portNumber;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t pick = data[0];
  ++data;
  --size;
  switch (pick % 24) {
    case 0:
      WalkControllerData(data, size);
      break;
    case 1:
      RoundTripTiled<controllerData>(data, size);
      break;
    case 2:
      RoundTrip<drive>(data, size);
      break;
    case 3:
      RoundTrip<array>(data, size);
      break;
    case 4:
      RoundTrip<partition>(data, size);
      break;
    case 5:
      RoundTrip<port>(data, size);
      break;
    case 6:
      RoundTripTiled<controller>(data, size);
      break;
    case 7:
      RoundTrip<advNetInterface>(data, size);
      break;
    case 8:
      RoundTrip<event>(data, size);
      break;
    case 9:
      RoundTrip<getEvent>(data, size);
      break;
    case 10:
      RoundTripTiled<partitionView>(data, size);
      break;
    case 11:
      RoundTripTiled<createArray>(data, size);
      break;
    case 12:
      RoundTrip<addArrayPart>(data, size);
      break;
    case 13:
      RoundTrip<expandPart>(data, size);
      break;
    case 14:
      RoundTripTiled<unifiedControllerData>(data, size);
      break;
    case 15:
      RoundTripTiled<hbaInfoList>(data, size);
      break;
    case 16:
      RoundTrip<RetndSnList>(data, size);
      break;
    case 17:
      RoundTrip<subsystem>(data, size);
      break;
    case 18:
      List<subsystem>(kSubsystemList, data, size);
      break;
    case 19:
      List<event>(kEventList, data, size);
      break;
    case 20:
      List<backingStoreEntry>(kBackingStoreList, data, size);
      break;
    case 21:
      List<masterVolumeEntry>(kMasterVolumeList, data, size);
      break;
    case 22:
      List<snapshotEntry>(kSnapshotList, data, size);
      break;
    default:
      RoundTripTiled<customView>(data, size);
      break;
  }
  return 0;
}
