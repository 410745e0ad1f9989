// The Solen text requests over a serial line (the tty of a camera's USB serial bridge):
// the same requests and replies as SolenCommonCtrl, on a tty opened read-write without
// becoming its controlling terminal, raw 8N1 at the bridge's rate.
#pragma once

#include <string>

#include "SolenCommonCtrl.h"

class SolenSerialCtrl : public SolenCommonCtrl {
public:
    // The bridge's USB identity (its product id chooses the rate) and the tty to open.
    SolenSerialCtrl(int vid, int pid, int bus, int address, std::string devNode);
    ~SolenSerialCtrl() override;

    // Line rate of a bridge, by its USB product id.
    static unsigned baudRate(int pid);

    // Waits for input at most timeoutMs / 1000 whole seconds, then reads once.
    int read(unsigned char* buf, unsigned int length, unsigned int timeoutMs) override;
    int write(unsigned char const* buf, unsigned int length, unsigned int timeoutMs) override;
    int init() override;
    // Flushes the tty's input queue.
    void discardStaleInput() override;

    const std::string& devNode() const { return m_devNode; }
    // The tty to open at the next init (a bridge's tty is found when the camera opens).
    void setDevNode(const std::string& node) { m_devNode = node; }

private:
    void closeTty();

    std::string m_devNode;
    int m_fd = -1;
};
