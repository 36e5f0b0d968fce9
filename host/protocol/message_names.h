#pragma once

#include <QString>

/// Names, members and bounds of the instrument protocol: a contract with instruments, see docs/instrument-protocol.md.
namespace NoxHost::Wire
{

inline constexpr int DefaultPort = 6027;
inline constexpr int MaximumLineBytes = 16 * 1024 * 1024;
/// Protocol errors without a good message between them, after which a connection is closed.
inline constexpr int MaximumErrorsInARow = 100;
inline constexpr int HeartbeatMs = 2000;
inline constexpr int SilenceMs = 10'000;
inline constexpr int BytesOfPeak = 17;
inline constexpr qint64 LargestInteger = qint64(1) << 53;

inline const QString Message = QStringLiteral("message");
inline const QString Reason = QStringLiteral("reason");
inline const QString Channel = QStringLiteral("channel");
inline const QString Index = QStringLiteral("index");
inline const QString Id = QStringLiteral("id");
inline const QString Parameter = QStringLiteral("parameter");
inline const QString Value = QStringLiteral("value");
inline const QString Status = QStringLiteral("status");
inline const QString StatusOk = QStringLiteral("ok");
inline const QString StatusRejected = QStringLiteral("rejected");
inline const QString From = QStringLiteral("from");
inline const QString To = QStringLiteral("to");
/// The parameter that answers to start and stop name.
inline const QString Run = QStringLiteral("run");

namespace Names
{
inline const QString Announcement = QStringLiteral("announcement");
inline const QString PeriodBlock = QStringLiteral("period_block");
inline const QString VoltageScope = QStringLiteral("voltage_scope");
inline const QString Response = QStringLiteral("response");
inline const QString ParameterChange = QStringLiteral("parameter");
inline const QString Overrun = QStringLiteral("overrun");
inline const QString Heartbeat = QStringLiteral("heartbeat");
inline const QString Error = QStringLiteral("error");
inline const QString Start = QStringLiteral("start");
inline const QString Stop = QStringLiteral("stop");
inline const QString Request = QStringLiteral("request");
} // namespace Names

namespace Announce
{
inline const QString ProtocolVersion = QStringLiteral("protocol_version");
inline const QString DeviceIdentification = QStringLiteral("device_identification");
inline const QString SerialNumber = QStringLiteral("serial_number");
inline const QString ConnectionId = QStringLiteral("connection_id");
inline const QString NumberOfChannels = QStringLiteral("number_of_channels");
inline const QString SoftwareVersion = QStringLiteral("software_version");
inline const QString FpgaVersion = QStringLiteral("fpga_version");
inline const QString ProductClass = QStringLiteral("product_class");
inline const QString ProductName = QStringLiteral("product_name");
inline const QString Channels = QStringLiteral("channels");
inline const QString Parameters = QStringLiteral("parameters");
} // namespace Announce

namespace PeriodMembers
{
inline const QString Periods = QStringLiteral("periods");
inline const QString StartTime = QStringLiteral("StartTime");
inline const QString EndTime = QStringLiteral("EndTime");
inline const QString SampleRate = QStringLiteral("SampleRate");
inline const QString PdHardwareCorrection = QStringLiteral("PdHardwareCorrection");
inline const QString PdCalibration = QStringLiteral("PdCalibration");
inline const QString TvHardwareCorrection = QStringLiteral("TvHardwareCorrection");
inline const QString TvCalibration = QStringLiteral("TvCalibration");
inline const QString Flags = QStringLiteral("Flags");
inline const QString Peaks = QStringLiteral("Peaks");
inline const QString HardwareCorrection = QStringLiteral("HardwareCorrection");
inline const QString Calibration = QStringLiteral("Calibration");
inline const QString Samples = QStringLiteral("Samples");
} // namespace PeriodMembers

} // namespace NoxHost::Wire
