// Loading libSDL2 at run time: the program links it no more, so a machine
// without it must get a message that says what to install, and a list of
// displays must go on to the next one.
#include <gtest/gtest.h>

#include <string>

#include "backend/cls_headless_backend.h"
#include "backend/sdl_library.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/if_display_backend.h"

using namespace ozgi;

namespace {

const char* const NO_SUCH_LIBRARY = "libvesk-test-no-such-sdl.so.0";

// What the operator reads when the library is missing (after "Can't open the display: ").
const std::string MISSING_REASON =
    "Can't use SDL: its library libvesk-test-no-such-sdl.so.0 can't be loaded (libvesk-test-no-such-sdl.so.0: cannot "
    "open shared object file: No such file or directory). Install the Debian package libsdl2-2.0-0, or choose another "
    "display with --ozgi-video=.";

// `text` with every regular-expression character escaped.
std::string literal(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) out += '\\';
        out += c;
    }
    return out;
}

display_options_t video(const char* list) {
    display_options_t o;
    o.video = list;
    return o;
}

// Makes shared_sdl_library() look for a library that no machine has, for one test.
class SdlLibraryMissing : public ::testing::Test {
protected:
    void SetUp() override { set_sdl_library_file(NO_SUCH_LIBRARY); }
    void TearDown() override { set_sdl_library_file(nullptr); }
};

} // namespace

TEST(SdlLibrary, MissingLibraryIsReportedWithItsName) {
    sdl_library_t lib;
    std::string error;
    EXPECT_FALSE(load_sdl_library(NO_SUCH_LIBRARY, &lib, &error));
    EXPECT_NE(error.find(NO_SUCH_LIBRARY), std::string::npos) << error;
    EXPECT_EQ(lib.init_sub_system, nullptr);
}

TEST(SdlLibrary, LibraryWithoutTheFunctionsIsRefused) {
    // The C library is loaded in every process but is no SDL.
    sdl_library_t lib;
    std::string error;
    EXPECT_FALSE(load_sdl_library("libc.so.6", &lib, &error));
    EXPECT_EQ(error, "it has no SDL_InitSubSystem");
    EXPECT_EQ(lib.init_sub_system, nullptr);
}

TEST(SdlLibrary, InstalledLibraryGivesEveryFunction) {
    // libsdl2-dev, which the build needs, brings the library itself.
    EXPECT_STREQ(sdl_library_file(), "libSDL2-2.0.so.0");
    std::string error;
    const sdl_library_t* lib = shared_sdl_library(&error);
    ASSERT_NE(lib, nullptr) << error;
#define OZGI_SDL_CHECK(field, name) EXPECT_NE(lib->field, nullptr) << #name;
    OZGI_SDL_FUNCTIONS(OZGI_SDL_CHECK)
#undef OZGI_SDL_CHECK
    // Loaded once for the process.
    EXPECT_EQ(shared_sdl_library(&error), lib);
}

TEST_F(SdlLibraryMissing, SharedLibraryNamesThePackage) {
    std::string error;
    EXPECT_EQ(shared_sdl_library(&error), nullptr);
    EXPECT_EQ(error, MISSING_REASON);
}

TEST_F(SdlLibraryMissing, SdlAloneCantOpen) {
    cls_string error;
    cls_sp<if_display_backend> backend = open_display_backend(video("sdl"), 640, 800, "vesk", &error);
    EXPECT_TRUE(backend.is_null());
    EXPECT_EQ(std::string(error.c_str()), "Can't open the display: " + MISSING_REASON);
}

TEST_F(SdlLibraryMissing, ListGoesOnToTheNextDisplay) {
    cls_string error;
    cls_sp<if_display_backend> backend = open_display_backend(video("sdl,headless"), 640, 800, "vesk", &error);
    ASSERT_TRUE(backend.is_not_null()) << error.c_str();
    EXPECT_NE(dynamic_cast<cls_headless_backend*>(backend.get()), nullptr);
}

TEST_F(SdlLibraryMissing, ListOfMissingSdlOnlyGivesItsReason) {
    cls_string error;
    cls_sp<if_display_backend> backend = open_display_backend(video("sdl,sdl"), 640, 800, "vesk", &error);
    EXPECT_TRUE(backend.is_null());
    EXPECT_EQ(std::string(error.c_str()), "Can't open the display: sdl: " + MISSING_REASON + "; sdl: " + MISSING_REASON);
}

using SdlLibraryMissingDeathTest = SdlLibraryMissing;

TEST_F(SdlLibraryMissingDeathTest, GuiStopsWithThePackageToInstall) {
    EXPECT_EXIT(
        {
            cls_array<cls_string> args;
            args.append(cls_string("--ozgi-video=sdl"));
            cls_input_args::ins()->set_args(args);
            cls_ozgi_gui::ins()->start_gui();
        },
        ::testing::ExitedWithCode(1),
        "FATAL [^\n]*cls_ozgi_gui\\.cpp:[0-9]+: " + literal("Can't open the display: " + MISSING_REASON) + "\n");
}
