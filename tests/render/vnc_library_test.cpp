// Loading libvncserver at run time: the program links it no more, so a missing
// or wrong library must stop --ozgi-vnc with a message that says what to install.
#include <gtest/gtest.h>

#include <string>

#include "ui/vnc_library.h"

using namespace ozgi;

namespace {

const char* const NO_SUCH_LIBRARY = "libvesk-test-no-such-library.so.1";

} // namespace

TEST(VncLibrary, MissingLibraryIsReportedWithItsName) {
    vnc_library_t lib{};
    std::string error;
    EXPECT_FALSE(load_vnc_library(NO_SUCH_LIBRARY, &lib, &error));
    EXPECT_NE(error.find(NO_SUCH_LIBRARY), std::string::npos) << error;
    EXPECT_EQ(lib.get_screen, nullptr);
}

TEST(VncLibrary, LibraryWithoutTheFunctionsIsRefused) {
    // The C library is loaded in every process but is no VNC server.
    vnc_library_t lib{};
    std::string error;
    EXPECT_FALSE(load_vnc_library("libc.so.6", &lib, &error));
    EXPECT_EQ(error, "it has no rfbGetScreen");
    EXPECT_EQ(lib.get_screen, nullptr);
}

TEST(VncLibraryDeathTest, MissingLibraryStopsWithThePackageToInstall) {
    vnc_library_t lib{};
    EXPECT_EXIT(load_vnc_library_or_die(NO_SUCH_LIBRARY, &lib), ::testing::ExitedWithCode(1),
                "FATAL [^\n]*vnc_library\\.cpp:[0-9]+: --ozgi-vnc needs the VNC server library "
                "libvesk-test-no-such-library\\.so\\.1, from the Debian package libvncserver1: "
                "libvesk-test-no-such-library\\.so\\.1: cannot open shared object file: No such file or directory\\.\n");
}

TEST(VncLibrary, InstalledLibraryGivesEveryFunction) {
    // libvncserver-dev, which the build needs, brings the library itself.
    vnc_library_t lib{};
    std::string error;
    ASSERT_TRUE(load_vnc_library(OZGI_VNC_LIBRARY, &lib, &error)) << error;
    EXPECT_NE(lib.get_screen, nullptr);
    EXPECT_NE(lib.init_server, nullptr);
    EXPECT_NE(lib.run_event_loop, nullptr);
    EXPECT_NE(lib.mark_rect_as_modified, nullptr);
    EXPECT_NE(lib.new_client, nullptr);
    EXPECT_NE(lib.start_on_hold_client, nullptr);
    EXPECT_NE(lib.shutdown_server, nullptr);
    EXPECT_NE(lib.screen_cleanup, nullptr);
    EXPECT_NE(lib.check_password_by_list, nullptr);
    ASSERT_NE(lib.log, nullptr);
    ASSERT_NE(lib.err, nullptr);
    // The hooks are the library's variables, set to its own printers.
    EXPECT_NE(*lib.log, nullptr);
    EXPECT_NE(*lib.err, nullptr);
}
