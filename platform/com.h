// The slice of COM the provider is written against: IUnknown, interface ids, a reference-counted
// object that implements several interfaces, the module lock count behind DllCanUnloadNow, the
// task allocator, and a smart pointer for code that only holds references.
//
// Declaring an interface:
//   inline constexpr IID IID_IVdsLun = {...};
//   struct IVdsLun : IUnknown { virtual HRESULT GetProperties(...) = 0; ... };
//   VELA_DECLARE_INTERFACE_ID(IVdsLun, IID_IVdsLun)      // at global scope
//
// Implementing interfaces (in the manner of CComObject):
//   class CLun : public ComObject<IVdsLun, IVdsLun2>, public CVdsBase {
//     ...
//    private:
//     ~CLun() override;  // only Release destroys
//   };
//   CLun* lun = new (std::nothrow) CLun();  // count 0; the first holder AddRefs
//
// ComObject gives QueryInterface (IUnknown and each listed interface, in order), AddRef and
// Release (thread-safe; Release at 0 deletes), and GetUnknown(). Every ComObject alive holds one
// module lock.
#ifndef VELA_PLATFORM_COM_H_
#define VELA_PLATFORM_COM_H_

#include <atomic>
#include <utility>

#include "platform/guid.h"
#include "platform/hresult.h"
#include "platform/wintypes.h"

struct IUnknown {
  virtual HRESULT QueryInterface(REFIID riid, void** ppvObject) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;  // interfaces are never deleted through; Release does that
};

// The interface id of an interface type, declared next to the interface.
template <class Interface>
struct InterfaceId;

#define VELA_DECLARE_INTERFACE_ID(Interface, iidConstant) \
  template <>                                             \
  struct InterfaceId<Interface> {                         \
    static constexpr const IID& value = iidConstant;      \
  };

inline constexpr IID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IClassFactory = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

VELA_DECLARE_INTERFACE_ID(IUnknown, IID_IUnknown)

struct IClassFactory : IUnknown {
  virtual HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) = 0;
  virtual HRESULT LockServer(BOOL fLock) = 0;

 protected:
  ~IClassFactory() = default;
};

VELA_DECLARE_INTERFACE_ID(IClassFactory, IID_IClassFactory)

// Module lock count: one per live ComObject plus LockServer(TRUE) calls.
void ModuleLock();
void ModuleUnlock();
LONG ModuleLockCount();

// Class activation: the classes the platform itself serves, each in the context it runs in on
// Windows. CLSID_WbemLocator in process (CLSCTX_INPROC_SERVER), the VDS loader out of process
// (CLSCTX_LOCAL_SERVER); anything else is REGDB_E_CLASSNOTREG.
constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;
HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext, REFIID riid,
                         void** ppv);

// Task allocator: memory handed to a client, which frees it with CoTaskMemFree. A request of 0
// bytes still gives a distinct non-null block, as on Windows.
void* CoTaskMemAlloc(SIZE_T size);
void CoTaskMemFree(void* block);

template <class First, class... Rest>
class ComObject : public First, public Rest... {
 public:
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT QueryInterface(REFIID riid, void** ppvObject) override {
    if (ppvObject == nullptr) return E_POINTER;
    *ppvObject = nullptr;
    if (IsEqualGUID(riid, IID_IUnknown)) {
      *ppvObject = GetUnknown();
    } else if (!(Match<First>(riid, ppvObject) || ... || Match<Rest>(riid, ppvObject))) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }

  ULONG AddRef() override { return m_dwRef.fetch_add(1, std::memory_order_relaxed) + 1; }

  ULONG Release() override {
    ULONG remaining = m_dwRef.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (remaining == 0) delete this;
    return remaining;
  }

  // The object's identity, the IUnknown of its first interface.
  IUnknown* GetUnknown() { return static_cast<First*>(this); }

 protected:
  ComObject() { ModuleLock(); }
  virtual ~ComObject() { ModuleUnlock(); }

 private:
  template <class Interface>
  bool Match(REFIID riid, void** ppvObject) {
    if (!IsEqualGUID(riid, InterfaceId<Interface>::value)) return false;
    *ppvObject = static_cast<Interface*>(this);
    return true;
  }

  std::atomic<ULONG> m_dwRef{0};
};

// Holds one reference to a COM object, for code that is not itself the object model.
template <class T>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(T* object) : m_p(object) {  // NOLINT: implicit like CComPtr; takes a new reference
    if (m_p) m_p->AddRef();
  }
  ComPtr(const ComPtr& other) : ComPtr(other.m_p) {}
  ComPtr(ComPtr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(m_p, other.m_p);
    return *this;
  }
  ~ComPtr() { Reset(); }

  T* Get() const { return m_p; }
  T* operator->() const { return m_p; }
  explicit operator bool() const { return m_p != nullptr; }

  void Reset() {
    if (T* old = std::exchange(m_p, nullptr)) old->Release();
  }
  // Takes over a reference the caller already owns.
  void Attach(T* object) {
    Reset();
    m_p = object;
  }
  // Gives up the reference without releasing it.
  T* Detach() { return std::exchange(m_p, nullptr); }
  // For out parameters (T** ppObject): releases what is held first.
  T** ReleaseAndGetAddressOf() {
    Reset();
    return &m_p;
  }

 private:
  T* m_p = nullptr;
};

#endif  // VELA_PLATFORM_COM_H_
