// A device library that lacks most operations: the program must treat it as no library at all.
#include "vna_api.h"

extern "C"
{
    int vnaOpenDevice(int* handle)
    {
        if (handle)
        {
            *handle = 1;
        }
        return 0;
    }

    void vnaGetDeviceList(int* serials, int* count)
    {
        if (serials && count && *count > 0)
        {
            serials[0] = 40000123;
            *count = 1;
        }
    }

    const char* vnaGetAPIVersion()
    {
        return "partial";
    }
}
