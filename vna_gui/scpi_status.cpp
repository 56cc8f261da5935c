#include "scpi_status.h"

#include "error_log.h"

std::uint8_t ScpiStatus::EventForError(int code)
{
    if (code >= 0)
    {
        return 0;
    }
    if (code <= -100 && code > -500)
    {
        static const std::uint8_t byHundreds[] = {CommandError, ExecutionError, DeviceError,
                                                  QueryError};
        return byHundreds[(-code) / 100 - 1];
    }
    switch (code)
    {
        // The text of the command was wrong: malformed or missing parameter, unknown header.
        case InvalidParameter:
        case TooFewParameters:
        case UndefinedHeader:
            return CommandError;
        // Well formed, but it could not be carried out as asked.
        case SettingClamped:
        case Unsupported:
        case InvalidOperation:
        case InvalidIndex:
            return ExecutionError;
        default:
            return DeviceError;
    }
}

int ScpiStatus::TakeEvents()
{
    const int value = esr;
    esr = 0;
    return value;
}

int ScpiStatus::StatusByte(bool errorQueueNotEmpty) const
{
    int stb = errorQueueNotEmpty ? ErrorQueueSummary : 0;
    if ((esr & ese) != 0)
    {
        stb |= EventSummary;
    }
    if ((stb & sre) != 0)
    {
        stb |= MasterSummary;
    }
    return stb;
}
