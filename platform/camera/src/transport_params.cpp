// The transport layer features of a device: packet size, packet resend,
// timeouts, socket buffer and packet socket of the stream, and the stream's
// statistics, as a node map of our own.

#include "device_private.h"
#include "stream_private.h"

namespace KyrCam {

namespace {

uint32_t statistic(AravisDevice &device, const char *name)
{
    return device.withStream([&](AravisStream *stream) -> uint32_t {
        if (!stream)
            return 0;
        guint64 completed = 0, failures = 0, underruns = 0;
        arv_stream_get_statistics(stream->arv(), &completed, &failures, &underruns);
        const std::string which = name;
        if (which == "completed")
            return uint32_t(completed);
        if (which == "failures")
            return uint32_t(failures);
        if (which == "underruns")
            return uint32_t(underruns);
        return ARV_IS_GV_STREAM(stream->arv()) ? uint32_t(gvStreamPackets(stream->arv(), name)) : 0;
    });
}

// Applies a stream property to the open stream, when there is one.
void applyToStream(AravisDevice &device, const char *property, guint value)
{
    device.withStream([&](AravisStream *stream) {
        if (stream && ARV_IS_GV_STREAM(stream->arv()))
            g_object_set(stream->arv(), property, value, nullptr);
    });
}

} // namespace

std::unique_ptr<LocalParams> makeTransportParams(AravisDevice &device)
{
    TransportSettings &settings = device.settings();
    const std::string body =
        localCategory("Root", { "TransportLayerControl", "StreamStatistics" }) +
        localCategory("TransportLayerControl", { "GevSCPSPacketSize", "PacketResendEnable", "PacketTimeout",
                                                 "FrameRetention", "SocketBufferSize", "PacketSocketEnable" }) +
        localCategory("StreamStatistics", { "StatCompletedBuffers", "StatFailedBuffers", "StatUnderruns",
                                            "StatResentPackets", "StatMissingPackets" }) +
        localInteger("GevSCPSPacketSize", 0x00, true, "Stream packet size in bytes (GigE Vision)") +
        localBoolean("PacketResendEnable", 0x04, "Ask the camera to resend lost packets") +
        localInteger("PacketTimeout", 0x08, true, "Microseconds to wait for a missing packet") +
        localInteger("FrameRetention", 0x0C, true, "Microseconds an incomplete frame is kept") +
        localInteger("SocketBufferSize", 0x10, true, "Receive socket buffer in bytes; 0 lets the system choose") +
        localBoolean("PacketSocketEnable", 0x14, "Receive through a packet socket; applies when the stream opens") +
        localInteger("StatCompletedBuffers", 0x20, false, "Frames completed") +
        localInteger("StatFailedBuffers", 0x24, false, "Frames that failed") +
        localInteger("StatUnderruns", 0x28, false, "Frames lost for lack of a queued buffer") +
        localInteger("StatResentPackets", 0x2C, false, "Packets the camera resent") +
        localInteger("StatMissingPackets", 0x30, false, "Packets that never arrived");

    std::vector<LocalRegister> registers = {
        { 0x00,
          [&device] {
              if (!device.gige() || !device.camera())
                  return uint32_t(0);
              std::lock_guard<std::recursive_mutex> lock(device.camera()->mutex());
              AravisError error;
              const guint size = arv_gv_device_get_packet_size(ARV_GV_DEVICE(device.arv()), error.out());
              return error.code() == kOk ? uint32_t(size) : 0u;
          },
          [&device](uint32_t value) {
              if (!device.gige() || !device.camera())
                  return false;
              std::lock_guard<std::recursive_mutex> lock(device.camera()->mutex());
              AravisError error;
              arv_gv_device_set_packet_size(ARV_GV_DEVICE(device.arv()), gint(value), error.out());
              return error.code() == kOk;
          } },
        { 0x04,
          [&device, &settings] {
              if (settings.packetResend >= 0)
                  return uint32_t(settings.packetResend);
              return device.withStream([](AravisStream *stream) {
                  guint resend = ARV_GV_STREAM_PACKET_RESEND_NEVER;
                  if (stream && ARV_IS_GV_STREAM(stream->arv()))
                      g_object_get(stream->arv(), "packet-resend", &resend, nullptr);
                  return uint32_t(resend == ARV_GV_STREAM_PACKET_RESEND_ALWAYS);
              });
          },
          [&device, &settings](uint32_t value) {
              settings.packetResend = value ? 1 : 0;
              applyToStream(device, "packet-resend",
                            value ? ARV_GV_STREAM_PACKET_RESEND_ALWAYS : ARV_GV_STREAM_PACKET_RESEND_NEVER);
              return true;
          } },
        { 0x08, [&settings] { return uint32_t(settings.packetTimeoutUs); },
          [&device, &settings](uint32_t value) {
              settings.packetTimeoutUs = value;
              applyToStream(device, "packet-timeout", value);
              return true;
          } },
        { 0x0C, [&settings] { return uint32_t(settings.frameRetentionUs); },
          [&device, &settings](uint32_t value) {
              settings.frameRetentionUs = value;
              applyToStream(device, "frame-retention", value);
              return true;
          } },
        { 0x10, [&settings] { return uint32_t(settings.socketBufferSize); },
          [&settings](uint32_t value) {
              // The receive socket is sized when the stream opens.
              settings.socketBufferSize = value;
              return true;
          } },
        { 0x14, [&settings] { return uint32_t(settings.packetSocket); },
          [&settings](uint32_t value) {
              settings.packetSocket = value != 0;
              return true;
          } },
        { 0x20, [&device] { return statistic(device, "completed"); }, nullptr },
        { 0x24, [&device] { return statistic(device, "failures"); }, nullptr },
        { 0x28, [&device] { return statistic(device, "underruns"); }, nullptr },
        { 0x2C, [&device] { return statistic(device, "n_resent_packets"); }, nullptr },
        { 0x30, [&device] { return statistic(device, "n_missing_packets"); }, nullptr },
    };
    return LocalParams::create(localDescription("TransportLayer", body), std::move(registers));
}

} // namespace KyrCam
