// The factory calibration store: the block the instrument keeps on its flash, the copy of it in
// the program data folder (GetFactoryCalFileName), and what a connection does with the two. The
// block layout is described in docs/factory_calibration.md.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>

#include "vna_calibration.h"

class ApplicationSettings;
class VNADevice;

namespace FactoryCal
{
constexpr int kHeaderSize = 64;
constexpr uint16_t kBlockVersion = 1;
// Bounds on what a header may announce, so that damaged data never asks for more memory than
// the largest real calibration needs (two-port, 64001 points, every vector at full precision).
constexpr uint32_t kMaxPayloadSize = 96u << 20;
constexpr uint32_t kMaxContentsSize = 192u << 20;

struct BlockHeader
{
    uint16_t version = 0;
    int32_t serial = 0;
    int64_t dateMs = 0;  // the calibration's date, milliseconds since 1970 UTC
    uint32_t payloadSize = 0;
};

// The fixed header at the start of bytes; false with the reason when it is none of ours.
bool ParseHeader(const QByteArray& bytes, BlockHeader& header, QString& error);
// A whole block (bytes past its end are ignored, as flash pages pad it): header, checksum and
// payload, into the .vnacal text it carries. False with the reason.
bool ParseBlock(const QByteArray& block, BlockHeader& header, QByteArray& contents,
                QString& error);
// The block for a calibration of the instrument with this serial number. False with the reason
// when the calibration cannot serve as a factory calibration.
bool BuildBlock(const VNACalibration& cal, int serial, QByteArray& block, QString& error);

// A calibration's .vnacal text, whose measurements are also kept at full precision (the file
// format narrows them to float), and the way back. fileName gives the calibration its name.
bool CalibrationToText(const VNACalibration& cal, QByteArray& text, QString& error);
bool CalibrationFromText(const QByteArray& text, const QString& fileName, VNACalibration& cal,
                         QString& error);
// The full-precision copy of the measured vectors, beside the file's own. Loading replaces a
// vector only by a copy that agrees with it to float precision, so a file saved again by the
// ordinary calibration code (which leaves this group alone) keeps its own values.
void SaveFullPrecision(ApplicationSettings& settings, const VNACalibration& cal);
void LoadFullPrecision(ApplicationSettings& settings, VNACalibration& cal);

// A loaded two-port calibration whose measured vectors all fit its stimulus.
bool IsUsable(const VNACalibration& cal, QString& error);

// The store's file: the .vnacal text and the flash date it was taken from (0 when not known).
bool LoadFile(const QString& path, VNACalibration& cal, unsigned long& flashDate,
              QString& error);
bool SaveFile(const QString& path, const QByteArray& text, unsigned long flashDate,
              QString& error);

enum class Status
{
    Loaded,
    Missing,
    Invalid
};

// On connection: refreshes the file of the device's serial number from the flash when the
// flash holds a newer calibration, then loads the file. detail says what went wrong.
Status Load(VNADevice& device, VNACalibration& cal, QString& detail);
// Service use: puts a calibration on the device's flash. False with the reason.
bool Write(VNADevice& device, const VNACalibration& cal, QString& error);

// The operator's messages for Status::Invalid and Status::Missing.
QString InvalidText();
QString MissingText();
}  // namespace FactoryCal
