// A runtime that is linked with the library and looks at its data, compiled in several ways: see
// CMakeLists.txt. It knows no header, so that nothing but its command line decides how it is compiled.
//
//   linked_runtime COPY     where COPY is a copy of the library's file
//
// Ends with 0 when it sees the library's own functions and data, otherwise with 1 and what is wrong on
// standard error.
#include <cstdio>

#include <dlfcn.h>

extern "C" {
void FlashLocalRegister(unsigned char *bits, unsigned short *words, unsigned short *third);
extern unsigned char *LB;
extern unsigned short *LW;
extern unsigned short *RWI;
}

class Communication_Protocol;
extern Communication_Protocol PLC_driver;
int getPlcReg(int regType);

namespace {

typedef void SetAreas(unsigned char *bits, unsigned short *words, unsigned short *third);

constexpr int kHoldingRegister = 5, kBitOfHoldingRegister = 3;

int failures = 0;

void expect(bool holds, const char *claim)
{
    if (holds)
        return;
    std::fprintf(stderr, "not so: %s\n", claim);
    failures = 1;
}

} // namespace

int main(int argc, char **argv)
{
    unsigned char bits[1], otherBits[1];
    unsigned short words[50501] = {}, third[1], otherWords[50501] = {};

    void *const library = dlopen("libplcdriver.so.1", RTLD_NOW | RTLD_NOLOAD);
    expect(library != nullptr, "the library was loaded with the program");
    if (argc != 2 || !library)
        return 1;

    FlashLocalRegister(bits, words, third);
    expect(LB == bits && LW == words && RWI == third, "the program reads what the library wrote");
    expect(dlsym(library, "LW") == static_cast<void *>(&LW), "LW is there once");
    expect(dlsym(library, "PLC_driver") == static_cast<void *>(&PLC_driver), "PLC_driver is there once");
    expect(getPlcReg(kBitOfHoldingRegister) == kHoldingRegister, "the library's functions are called");

    void *const copy = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
    expect(copy && copy != library, "a copy of the file is another line");
    if (!copy)
        return 1;
    reinterpret_cast<SetAreas *>(dlsym(copy, "FlashLocalRegister"))(otherBits, otherWords, nullptr);
    expect(LW == words, "the copy leaves the linked library's data alone");
    expect(*static_cast<unsigned short **>(dlsym(copy, "LW")) == otherWords, "the copy has data of its own");
    expect(dlclose(copy) == 0, "the copy is unloaded");
    FlashLocalRegister(otherBits, words, third);
    expect(LB == otherBits, "the linked library works on");
    return failures;
}
