#include "DepartedDeviceGuard.h"

#include <dlfcn.h>
#include <libuvc/libuvc.h>
#include <pthread.h>

#include <atomic>
#include <climits>

#include "Logger.h"

namespace {

template <typename Function>
Function libusbOwn(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Whether a return address lies in libuvc.
bool inLibuvc(const void* address)
{
    static const void* const libuvc = [] {
        Dl_info info{};
        return dladdr(reinterpret_cast<void*>(&uvc_init), &info) != 0 ? info.dli_fbase : nullptr;
    }();
    Dl_info caller{};
    return libuvc != nullptr && dladdr(address, &caller) != 0 && caller.dli_fbase == libuvc;
}

// Whether the process's symbol lookup (which libuvc's calls follow) finds our definition first.
bool ourDefinitionComesFirst(const char* name)
{
    Dl_info first{}, self{};
    void* found = dlsym(RTLD_DEFAULT, name);
    return found != nullptr && dladdr(found, &first) != 0 &&
           dladdr(reinterpret_cast<void*>(&ourDefinitionComesFirst), &self) != 0 && first.dli_fbase == self.dli_fbase;
}

}  // namespace

// Both exported by the shared library (see its version script) so that libuvc binds to them.
__attribute__((visibility("default"))) int LIBUSB_CALL libusb_set_interface_alt_setting(libusb_device_handle* handle,
                                                                                     int interface, int alternate)
{
    static const auto own =
        libusbOwn<int (*)(libusb_device_handle*, int, int)>("libusb_set_interface_alt_setting");
    // libusb's "attached" state, then a request to the kernel: a departed device answers
    // LIBUSB_ERROR_NO_DEVICE here without reaching libusb's faulty path.
    if (handle != nullptr && libusb_kernel_driver_active(handle, interface) == LIBUSB_ERROR_NO_DEVICE)
        return LIBUSB_ERROR_NO_DEVICE;
    if (own == nullptr) return LIBUSB_ERROR_NOT_SUPPORTED;
    const int ret = own(handle, interface, alternate);
    // The device may have left in the microseconds between the two checks.
    if (ret == LIBUSB_ERROR_NO_DEVICE) DepartedDeviceGuard::rebalance(handle);
    return ret;
}

namespace {
thread_local int t_directCalls = 0;
// libuvc's start refused its first transfer: it then stops a stream none of whose transfers
// was submitted, and would wait for their completion for ever.
thread_local bool t_firstSubmissionRefused = false;
}  // namespace

__attribute__((visibility("default"))) int LIBUSB_CALL libusb_cancel_transfer(libusb_transfer* transfer)
{
    static const auto own = libusbOwn<int (*)(libusb_transfer*)>("libusb_cancel_transfer");
    const int ret = own != nullptr ? own(transfer) : LIBUSB_ERROR_NOT_SUPPORTED;
    // Never submitted: libuvc frees it at once on any answer but "not found".
    if (ret == LIBUSB_ERROR_NOT_FOUND && t_directCalls > 0 && t_firstSubmissionRefused &&
        inLibuvc(__builtin_return_address(0)))
        return LIBUSB_ERROR_NO_DEVICE;
    // Only libuvc frees the transfer on this answer; other callers keep libusb's.
    if (ret == LIBUSB_ERROR_NO_DEVICE && inLibuvc(__builtin_return_address(0))) return LIBUSB_ERROR_NOT_FOUND;
    return ret;
}

DepartedDeviceGuard::DirectCall::DirectCall()
{
    ++t_directCalls;
    t_firstSubmissionRefused = false;
}
DepartedDeviceGuard::DirectCall::~DirectCall() { --t_directCalls; }

__attribute__((visibility("default"))) int LIBUSB_CALL libusb_submit_transfer(libusb_transfer* transfer)
{
    static const auto own = libusbOwn<int (*)(libusb_transfer*)>("libusb_submit_transfer");
    const int ret = own != nullptr ? own(transfer) : LIBUSB_ERROR_NOT_SUPPORTED;
    // Submissions on a caller's own thread (open, start) get the answer. libuvc's start stops
    // at the first refusal; only a refusal of its very first transfer fails the start (later
    // ones are freed by libuvc and the start succeeds), and then nothing is in flight.
    if (ret < 0 && t_directCalls > 0) t_firstSubmissionRefused = true;
    // libuvc resubmits from the completion callback and ignores the answer: a transfer refused
    // there (the device has left) would be neither in flight nor freed, and the stream's stop
    // would wait for it for ever. Its callback hears the end instead, as libusb would have said
    // it, and frees it. (The resubmission is a tail call: libuvc is known by the transfer's
    // callback, not by the return address.)
    if (ret < 0 && ret != LIBUSB_ERROR_BUSY && t_directCalls == 0 && transfer != nullptr &&
        transfer->callback != nullptr && inLibuvc(reinterpret_cast<const void*>(transfer->callback))) {
        transfer->status = ret == LIBUSB_ERROR_NO_DEVICE ? LIBUSB_TRANSFER_NO_DEVICE : LIBUSB_TRANSFER_ERROR;
        transfer->actual_length = 0;
        transfer->callback(transfer);  // libuvc's last step: nothing of the transfer is used after it
    }
    return ret;
}

bool DepartedDeviceGuard::reached()
{
    static const bool ours = ourDefinitionComesFirst("libusb_set_interface_alt_setting") &&
                             ourDefinitionComesFirst("libusb_cancel_transfer") &&
                             ourDefinitionComesFirst("libusb_submit_transfer");
    static std::atomic<bool> told{false};
    if (!ours && !told.exchange(true))
        QV_LOGW("libusb is linked ahead of this library: an unplugged camera's USB session is kept until the "
                "process ends");
    return ours;
}

void DepartedDeviceGuard::rebalance(libusb_device_handle* handle)
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
