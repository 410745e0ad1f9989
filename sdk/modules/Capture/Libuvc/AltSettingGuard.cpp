#include "AltSettingGuard.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <climits>

#include "Logger.h"

// Exported by the shared library (see its version script) so that libuvc binds to it.
__attribute__((visibility("default"))) int LIBUSB_CALL libusb_set_interface_alt_setting(libusb_device_handle* handle,
                                                                                     int interface, int alternate)
{
    using Function = int (*)(libusb_device_handle*, int, int);
    static const Function libusbOwn =
        reinterpret_cast<Function>(dlsym(RTLD_NEXT, "libusb_set_interface_alt_setting"));
    // libusb's "attached" state, then a request to the kernel: a departed device answers
    // LIBUSB_ERROR_NO_DEVICE here without reaching libusb's faulty path.
    if (handle != nullptr && libusb_kernel_driver_active(handle, interface) == LIBUSB_ERROR_NO_DEVICE)
        return LIBUSB_ERROR_NO_DEVICE;
    if (libusbOwn == nullptr) return LIBUSB_ERROR_NOT_SUPPORTED;
    const int ret = libusbOwn(handle, interface, alternate);
    // The device may have left in the microseconds between the two checks.
    if (ret == LIBUSB_ERROR_NO_DEVICE) AltSettingGuard::rebalance(handle);
    return ret;
}

namespace {

// Whether the process's symbol lookup (which libuvc's calls follow) finds our definition first.
bool ourDefinitionComesFirst()
{
    Dl_info first{}, self{};
    void* found = dlsym(RTLD_DEFAULT, "libusb_set_interface_alt_setting");
    return found != nullptr && dladdr(found, &first) != 0 &&
           dladdr(reinterpret_cast<void*>(&ourDefinitionComesFirst), &self) != 0 && first.dli_fbase == self.dli_fbase;
}

}  // namespace

bool AltSettingGuard::reached()
{
    static const bool ours = ourDefinitionComesFirst();
    static std::atomic<bool> told{false};
    if (!ours && !told.exchange(true))
        QV_LOGW("libusb is linked ahead of this library: an unplugged camera's USB session is kept until the "
                "process ends");
    return ours;
}

void AltSettingGuard::rebalance(libusb_device_handle* handle)
{
#if defined(__GLIBC__)
    // Only for the release whose record layout is known: the handle's mutex is its first member.
    const libusb_version* version = libusb_get_version();
    if (handle == nullptr || version->major != 1 || version->minor != 0 || version->micro != 26) return;
    auto* mutex = reinterpret_cast<pthread_mutex_t*>(handle);
    // Unlocked, with one user fewer than none: exactly what the stray unlock leaves.
    if (mutex->__data.__lock == 0 && mutex->__data.__nusers == UINT_MAX) ++mutex->__data.__nusers;
#else
    (void)handle;
#endif
}
