#include "TestBedCore.h"

namespace orrindale::emulator {

TestBedCore::TestBedCore(UMockdevTestbed* testbed, const TestBedOptions& options)
    : m_testbed(testbed), m_options(options)
{
    gchar* root = umockdev_testbed_get_root_dir(testbed);
    m_rootDir = root;
    g_free(root);
}

TestBedCore::~TestBedCore() { g_object_unref(m_testbed); }

}  // namespace orrindale::emulator
