// Reading WMI values into the inventory's plain types. Each reader is false when the property
// is missing or of a type that can't hold what the class documents, so that the inventory
// takes its failure path instead of guessing.
#ifndef VELA_MULTIPATH_WMI_VALUES_H_
#define VELA_MULTIPATH_WMI_VALUES_H_

#include <cstdint>
#include <string>

#include "platform/com.h"
#include "platform/wbem.h"

// A VARIANT that clears itself.
class ScopedVariant {
 public:
  ScopedVariant() { VariantInit(&m_value); }
  ~ScopedVariant() { VariantClear(&m_value); }
  ScopedVariant(const ScopedVariant&) = delete;
  ScopedVariant& operator=(const ScopedVariant&) = delete;
  VARIANT* operator&() { return &m_value; }  // NOLINT: in the manner of CComVariant
  VARIANT& operator*() { return m_value; }
  VARIANT* operator->() { return &m_value; }

 private:
  VARIANT m_value;
};

// An unsigned number of at most 32 bits (WMI gives uint8 as VT_UI1, uint16 and uint32 as VT_I4).
bool GetWmiU32(IWbemClassObject* object, const char16_t* name, uint32_t* value);
// A 64-bit number, which WMI gives as decimal text; false on overflow or any other text.
bool GetWmiU64(IWbemClassObject* object, const char16_t* name, uint64_t* value);
bool GetWmiString(IWbemClassObject* object, const char16_t* name, std::u16string* value);
// An embedded object; null when missing or not an object.
ComPtr<IWbemClassObject> GetWmiObject(IWbemClassObject* object, const char16_t* name);

// The elements of an array of embedded objects, held for the caller's reads.
class WmiObjectArray {
 public:
  WmiObjectArray() = default;
  ~WmiObjectArray();
  WmiObjectArray(const WmiObjectArray&) = delete;
  WmiObjectArray& operator=(const WmiObjectArray&) = delete;

  // The result of the Get; VARIANT type errors give WBEM_E_TYPE_MISMATCH.
  HRESULT Read(IWbemClassObject* object, const char16_t* name);
  LONG Count() const { return m_count; }
  // The element at 0-based `index` with a reference, or null (an empty slot).
  ComPtr<IWbemClassObject> At(LONG index) const;

 private:
  SAFEARRAY* m_array = nullptr;
  LONG m_lower = 0;
  LONG m_count = 0;
};

// Building method input: a class of the namespace (GetObject), a new instance of it, and Puts.
// Each failure is logged as "run to %d hRes=0x%x" with the caller's step number and the next
// step is tried all the same, as the inventory's writers do.
class WmiBuilder {
 public:
  explicit WmiBuilder(IWbemServices* services) : m_services(services) {}
  // A new instance of the class, or null.
  ComPtr<IWbemClassObject> Spawn(const char16_t* className, int step);
  // The in-parameter instance of a method of the class, or null.
  ComPtr<IWbemClassObject> MethodInput(const char16_t* className, const char16_t* method, int step);
  void PutU32(IWbemClassObject* object, const char16_t* name, uint32_t value, int step);
  void PutU64(IWbemClassObject* object, const char16_t* name, uint64_t value, int step);
  void PutObject(IWbemClassObject* object, const char16_t* name, IWbemClassObject* value, int step);
  // Takes over `array` (VT_UNKNOWN elements).
  void PutArray(IWbemClassObject* object, const char16_t* name, SAFEARRAY* array, int step);

 private:
  IWbemServices* m_services;
};

// The number that starts at the first decimal digit of `name` ("MPIO Disk12" gives 12); false
// when the name has no digit or the number doesn't fit 32 bits.
bool NumberFromName(const std::string& name, uint32_t* value);

// Logs each property of `object` by its type, except names that begin with an underscore.
void DumpWmiObject(IWbemClassObject* object);

// Wide text narrowed to its low bytes, as the inventory keeps serials and names.
std::string NarrowWmi(const std::u16string& text);

#endif  // VELA_MULTIPATH_WMI_VALUES_H_
