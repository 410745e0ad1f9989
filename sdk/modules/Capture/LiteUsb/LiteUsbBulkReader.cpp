#include "LiteUsbBulkReader.h"

LiteUsbBulkReader::LiteUsbBulkReader(libusb_context* context, libusb_device_handle* handle, unsigned char endpoint)
    : m_context(context), m_handle(handle), m_endpoint(endpoint), m_transfer(libusb_alloc_transfer(0))
{
}

LiteUsbBulkReader::~LiteUsbBulkReader() { libusb_free_transfer(m_transfer); }

void LIBUSB_CALL LiteUsbBulkReader::finished(libusb_transfer* transfer)
{
    __atomic_store_n(static_cast<int*>(transfer->user_data), 1, __ATOMIC_RELEASE);
}

int LiteUsbBulkReader::read(unsigned char* buffer, int length, unsigned timeoutMs)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_cancelled) return LIBUSB_ERROR_INTERRUPTED;
        if (m_transfer == nullptr) return LIBUSB_ERROR_NO_MEM;
        libusb_fill_bulk_transfer(m_transfer, m_handle, m_endpoint, buffer, length, &LiteUsbBulkReader::finished,
                                  &m_completed, timeoutMs);
        __atomic_store_n(&m_completed, 0, __ATOMIC_RELAXED);
        const int submitted = libusb_submit_transfer(m_transfer);
        if (submitted < 0) return submitted;
        m_inFlight = true;
    }
    // As libusb's own synchronous transfers wait: any thread handling events may complete it.
    while (__atomic_load_n(&m_completed, __ATOMIC_ACQUIRE) == 0) {
        const int handled = libusb_handle_events_completed(m_context, &m_completed);
        if (handled < 0 && handled != LIBUSB_ERROR_INTERRUPTED) libusb_cancel_transfer(m_transfer);
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_inFlight = false;
    }
    switch (m_transfer->status) {
    case LIBUSB_TRANSFER_COMPLETED:
        return m_transfer->actual_length;
    case LIBUSB_TRANSFER_TIMED_OUT:
        return LIBUSB_ERROR_TIMEOUT;
    case LIBUSB_TRANSFER_CANCELLED:
        return LIBUSB_ERROR_INTERRUPTED;
    case LIBUSB_TRANSFER_STALL:
        return LIBUSB_ERROR_PIPE;
    case LIBUSB_TRANSFER_NO_DEVICE:
        return LIBUSB_ERROR_NO_DEVICE;
    case LIBUSB_TRANSFER_OVERFLOW:
        return LIBUSB_ERROR_OVERFLOW;
    default:
        return LIBUSB_ERROR_IO;
    }
}

void LiteUsbBulkReader::cancel()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cancelled = true;
    if (m_inFlight) libusb_cancel_transfer(m_transfer);
}
