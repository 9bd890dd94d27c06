#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <stdexcept>

// A host program may run under the user's locale, which then reaches every number that is printed or parsed.
// The tests run so too where LC_ALL is set for them, and a locale that is not there must not pass as tested.
int main(int argc, char** argv) {
    if (const char* wanted = std::getenv("LC_ALL"); wanted && *wanted) {
        try {
            std::setlocale(LC_ALL, "");
            std::locale::global(std::locale(""));
        } catch (const std::runtime_error&) {
            std::fprintf(stderr, "The locale %s is not installed; scripts/setup makes it.\n", wanted);
            return EXIT_FAILURE;
        }
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
