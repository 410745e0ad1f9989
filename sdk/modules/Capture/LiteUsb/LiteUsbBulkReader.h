// Bulk IN reads that another thread can cancel, so that stopping a stream does not wait
// out the capture thread's read timeout.
#pragma once

#include <libusb.h>

#include <mutex>

class LiteUsbBulkReader {
public:
    LiteUsbBulkReader(libusb_context* context, libusb_device_handle* handle, unsigned char endpoint);
    ~LiteUsbBulkReader();
    LiteUsbBulkReader(const LiteUsbBulkReader&) = delete;
    LiteUsbBulkReader& operator=(const LiteUsbBulkReader&) = delete;

    // One transfer into `buffer`: the bytes read, or a libusb error code
    // (LIBUSB_ERROR_INTERRUPTED once cancelled). One thread reads at a time.
    int read(unsigned char* buffer, int length, unsigned timeoutMs);
    // Ends the read in progress and makes every later one return at once (thread safe).
    void cancel();

private:
    static void LIBUSB_CALL finished(libusb_transfer* transfer);

    libusb_context* m_context;
    libusb_device_handle* m_handle;
    unsigned char m_endpoint;
    libusb_transfer* m_transfer;
    int m_completed = 0;  // written by libusb's event handling, read through atomics
    std::mutex m_mutex;   // orders submission against cancel()
    bool m_inFlight = false;
    bool m_cancelled = false;
};
