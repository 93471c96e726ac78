// A linked runtime that has data and functions of its own by names of the library's: each side keeps to its
// own.
//
//   linked_same_names COPY  ends as linked_runtime does; COPY is not looked at
#include <cstdio>

#include <dlfcn.h>

extern "C" {
int LW = 22;

int EnCommStation()
{
    return 44;
}

void FlashLocalRegister(unsigned char *bits, unsigned short *words, unsigned short *third);
void EnableEthernet(int station, int enable);
}

unsigned char PLC_driver[8192];
int Ethernetcontains(int station);

int main()
{
    unsigned char bits[1];
    unsigned short words[50501] = {};
    void *const library = dlopen("libplcdriver.so.1", RTLD_NOW | RTLD_NOLOAD);
    if (!library)
        return 1;
    FlashLocalRegister(bits, words, nullptr);
    EnableEthernet(2, 0); // ends in the library's EnCommStation
    const bool isSound = LW == 22 && *static_cast<unsigned short **>(dlsym(library, "LW")) == words &&
                         Ethernetcontains(2) == 1 && EnCommStation() == 44;
    if (!isSound)
        std::fputs("the library and the program use each other's names\n", stderr);
    for (const unsigned char byte : PLC_driver) {
        if (byte != 0) {
            std::fputs("the library wrote into the program's PLC_driver\n", stderr);
            return 1;
        }
    }
    return isSound ? 0 : 1;
}
