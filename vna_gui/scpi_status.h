// The IEEE 488.2 status registers of a remote client: the standard event status register with
// its enable mask, the service request enable mask, and the status byte built from them.
#pragma once

#include <cstdint>

class ScpiStatus
{
public:
    // Standard event status register bits.
    enum Event : std::uint8_t
    {
        OperationComplete = 0x01,
        QueryError = 0x04,
        DeviceError = 0x08,
        ExecutionError = 0x10,
        CommandError = 0x20,
    };
    // Status byte bits.
    enum Summary : std::uint8_t
    {
        ErrorQueueSummary = 0x04,
        EventSummary = 0x20,
        MasterSummary = 0x40,
    };

    // The event bit an error of the queue sets: the 488.2 ranges (-1xx command, -2xx execution,
    // -3xx device-specific, -4xx query errors), and for the program's own small codes the class
    // they belong to. 0 for codes that are no error.
    static std::uint8_t EventForError(int code);

    void SetEvent(std::uint8_t bits) { esr |= bits; }
    void RecordError(int code) { esr |= EventForError(code); }
    // *ESR?: the register, cleared by reading.
    int TakeEvents();
    int Events() const { return esr; }
    // *CLS: the event register only; the masks stay.
    void ClearEvents() { esr = 0; }

    void SetEventEnable(int mask) { ese = std::uint8_t(mask); }
    int EventEnable() const { return ese; }
    // Bit 6 cannot request service (it is the summary itself) and reads back 0.
    void SetServiceRequestEnable(int mask) { sre = std::uint8_t(mask & ~MasterSummary); }
    int ServiceRequestEnable() const { return sre; }

    // *STB?: error queue bit, event summary, and the master summary of the enabled bits.
    int StatusByte(bool errorQueueNotEmpty) const;

private:
    std::uint8_t esr = 0;
    std::uint8_t ese = 0;
    std::uint8_t sre = 0;
};
