// The entry of every test program: the same surroundings whoever starts it, and the locales of this build.
#include <gmock/gmock.h>

#include <cstdlib>

int main(int argc, char** argv) {
  for (const char* name : {"LANG", "LANGUAGE", "LC_ALL", "LC_COLLATE", "LC_CTYPE", "LC_MESSAGES",
                           "LC_MONETARY", "LC_NUMERIC", "LC_TIME", "DISPLAY"})
    unsetenv(name);
  setenv("LOCPATH", TVK_TEST_LOCALES, 1);
  setenv("TZ", "UTC", 1);
  testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
