// The built library, loaded and unloaded as the host does it.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>

#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Strings = std::vector<std::string>;

bool isMapped() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/libleds.so") != std::string::npos) return true;
  }
  return false;
}

/// The library, open for as long as it lives.
class Library {
 public:
  Library() : fHandle(dlopen(LEDS_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (fHandle == nullptr) throw std::runtime_error(dlerror());
  }
  ~Library() { dlclose(fHandle); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  int createModule(std::shared_ptr<HBBroker> broker) const {
    using EntryPoint = int (*)(std::shared_ptr<HBBroker>);
    const auto entryPoint = reinterpret_cast<EntryPoint>(dlsym(fHandle, "_createModule"));
    if (entryPoint == nullptr) throw std::runtime_error(dlerror());
    return entryPoint(std::move(broker));
  }

 private:
  void* fHandle;
};

TEST(Library, ExportsItsEntryPointAlone) {
  FILE* nm = popen("nm -D --defined-only '" LEDS_LIBRARY "'", "r");
  ASSERT_NE(nm, nullptr);
  std::string output;
  for (int c = fgetc(nm); c != EOF; c = fgetc(nm)) output += static_cast<char>(c);
  ASSERT_EQ(pclose(nm), 0);
  EXPECT_THAT(output, ::testing::EndsWith(" T _createModule\n"));
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1);
}

TEST(Library, LoadsWorksAndUnloadsTwentyTimes) {
  const auto around = Surroundings::complete();
  ASSERT_FALSE(isMapped());
  xo::Object service;
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    xo::Future<void> faded;
    {
      const Library library;
      ASSERT_TRUE(isMapped());
      ASSERT_EQ(library.createModule(around->broker), 0);
      service = around->session->service("HBLeds").value();
      EXPECT_EQ(service.call<Strings>("listLED", "Ear1"), Strings{small::kEar1});
      faded = service.call<xo::Future<void>>("fadeRGB", "FaceLeds", "red", 3600.0F);
      EXPECT_THROW(service.call("on", "Nose"), std::invalid_argument);
      EXPECT_THROW(service.call<HBValue>("getIntensity", "FaceLeds"), std::runtime_error);
      around->broker->removeModule("HBLeds");
      EXPECT_FALSE(service.isAlive());
    }
    ASSERT_FALSE(isMapped());
    EXPECT_TRUE(faded.isRunning());
    faded.cancel();
  }
  EXPECT_EQ(around->motion->writes().size(), 20u);
}

TEST(Library, UnloadsAfterAStartThatFailed) {
  const auto around = Surroundings::complete(RobotXml("Bare"));
  std::string text;
  {
    const Library library;
    try {
      library.createModule(around->broker);
    } catch (const std::exception& error) {
      text = error.what();
    }
  }
  EXPECT_THAT(text, HasSubstr("No LED defined for this robot model: Bare"));
  EXPECT_FALSE(isMapped());
}

TEST(Library, PrintsTheFailureOfAStartWithoutMemoryAndUnloads) {
  Surroundings around;
  ::testing::internal::CaptureStdout();
  {
    const Library library;
    EXPECT_EQ(library.createModule(around.broker), 0);
  }
  EXPECT_THAT(::testing::internal::GetCapturedStdout(),
              ::testing::StartsWith("leds : error while trying to create module HBLeds: "));
  EXPECT_FALSE(isMapped());
}

}  // namespace
}  // namespace HB::test
