#include "gentl_private.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

namespace KyrCam {

// What a node map's port reaches: the producer's port, until the owner
// detaches it.
struct GenTLNodeMap::Target {
    std::mutex mutex;
    const GenTLFunctions *fn = nullptr;
    PORT_HANDLE port = nullptr;
    GenTLWorker *worker = nullptr;
};

namespace {

// Largest description we read from a port or a file.
constexpr uint64_t kXmlLimit = 64u << 20;

std::string portUrl(const GenTLFunctions &fn, PORT_HANDLE port)
{
    uint32_t count = 0;
    if (gentlCall(fn.GCGetNumPortURLs, port, &count) == GC_ERR_SUCCESS && count > 0) {
        const std::string url = gentlText([&](INFO_DATATYPE *type, void *buffer, size_t *size) {
            return gentlCall(fn.GCGetPortURLInfo, port, 0u, URL_INFO_CMD(URL_INFO_URL), type, buffer, size);
        });
        if (!url.empty())
            return url;
    }
    // Producers before GenTL 1.1 have only the deprecated single-URL call.
    return gentlText([&](INFO_DATATYPE *, void *buffer, size_t *size) {
        return gentlCall(fn.GCGetPortURL, port, static_cast<char *>(buffer), size);
    });
}

bool endsWith(const std::string &text, const char *suffix)
{
    const size_t n = std::strlen(suffix);
    return text.size() >= n && g_ascii_strcasecmp(text.c_str() + text.size() - n, suffix) == 0;
}

// The description inside a zip file: its first .xml member.
KyrCamErr unzip(std::string &data)
{
    ArvZip *zip = arv_zip_new(data.data(), data.size());
    if (!zip)
        return kErrNotAvailable;
    std::string xml;
    for (const GSList *item = arv_zip_get_file_list(zip); item && xml.empty(); item = item->next) {
        const char *name = arv_zip_file_get_name(static_cast<ArvZipFile *>(item->data));
        if (!name || !endsWith(name, ".xml"))
            continue;
        size_t size = 0;
        void *bytes = arv_zip_get_file(zip, name, &size);
        if (bytes)
            xml.assign(static_cast<const char *>(bytes), size);
        g_free(bytes);
    }
    arv_zip_free(zip);
    if (xml.empty())
        return kErrNotAvailable;
    data = std::move(xml);
    return kOk;
}

// "local:[///]name.ext;address;length[?SchemaVersion=...]" (hexadecimal
// numbers) or "file:[///]path[?...]".
KyrCamErr fetchXml(GenTLNodeMap &map, const std::string &url, std::string &xml)
{
    std::string rest = url.substr(0, url.find('?'));
    std::string name;
    if (g_ascii_strncasecmp(rest.c_str(), "local:", 6) == 0) {
        rest = rest.substr(6);
        while (!rest.empty() && rest[0] == '/')
            rest.erase(0, 1);
        const size_t first = rest.find(';');
        const size_t second = first == std::string::npos ? first : rest.find(';', first + 1);
        if (second == std::string::npos)
            return kErrNotAvailable;
        name = rest.substr(0, first);
        const uint64_t address = g_ascii_strtoull(rest.c_str() + first + 1, nullptr, 16);
        const uint64_t length = g_ascii_strtoull(rest.c_str() + second + 1, nullptr, 16);
        if (length == 0 || length > kXmlLimit)
            return kErrNotAvailable;
        xml.assign(size_t(length), '\0');
        const KyrCamErr code = map.read(address, &xml[0], xml.size());
        if (code != kOk)
            return code;
    } else if (g_ascii_strncasecmp(rest.c_str(), "file:", 5) == 0) {
        rest = rest.substr(5);
        // "file:///path" and "file:/path" both name /path.
        while (rest.size() > 1 && rest[0] == '/' && rest[1] == '/')
            rest.erase(0, 1);
        name = rest;
        std::ifstream file(rest, std::ios::binary);
        if (!file.is_open())
            return kErrNotAvailable;
        std::ostringstream content;
        content << file.rdbuf();
        xml = content.str();
        if (xml.empty() || xml.size() > kXmlLimit)
            return kErrNotAvailable;
    } else {
        logDebug("gentl: unsupported description URL %s", url.c_str());
        return kErrNotAvailable;
    }
    if (endsWith(name, ".zip"))
        return unzip(xml);
    // Descriptions read from registers may carry padding after the document.
    const size_t nul = xml.find('\0');
    if (nul != std::string::npos)
        xml.resize(nul);
    return kOk;
}

// The ids of the description's event ports, "<EventID>hex</EventID>".
std::vector<uint64_t> eventIdsOf(const std::string &xml)
{
    static const char kOpen[] = "<EventID>";
    std::vector<uint64_t> ids;
    for (size_t at = xml.find(kOpen); at != std::string::npos; at = xml.find(kOpen, at + 1)) {
        char *end = nullptr;
        const char *digits = xml.c_str() + at + sizeof kOpen - 1;
        const uint64_t id = g_ascii_strtoull(digits, &end, 16);
        if (end != digits && *end == '<')
            ids.push_back(id);
    }
    return ids;
}

} // namespace

KyrCamErr GenTLNodeMap::create(GenTLProducer &producer, PORT_HANDLE port, GenTLWorker *worker,
                                std::unique_ptr<GenTLNodeMap> &map) noexcept
{
    try {
        std::unique_ptr<GenTLNodeMap> made(new GenTLNodeMap);
        made->target_ = std::make_shared<Target>();
        made->target_->fn = &producer.fn();
        made->target_->port = port;
        made->target_->worker = worker;
        std::string xml;
        const std::string url = portUrl(producer.fn(), port);
        const KyrCamErr code = url.empty() ? kErrNotAvailable : fetchXml(*made, url, xml);
        if (code != kOk)
            return code;
        made->port_ = newPort(*made);
        made->array_ = describePort(made->port_.get(), xml);
        if (!made->array_)
            return kErrNotAvailable;
        made->eventIds_ = eventIdsOf(xml);
        map = std::move(made);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

GenTLNodeMap::~GenTLNodeMap()
{
    array_.reset();
    detachPort(port_.get());
}

gboolean GenTLNodeMap::readPort(guint64 address, guint32 size, void *buffer, GError **error)
{
    return takeCode(read(address, buffer, size), address, false, error);
}

gboolean GenTLNodeMap::writePort(guint64 address, guint32 size, const void *data, GError **error)
{
    return takeCode(write(address, data, size), address, true, error);
}

gboolean GenTLNodeMap::takeCode(KyrCamErr code, guint64 address, bool write, GError **error) noexcept
{
    if (code == kOk)
        return TRUE;
    g_set_error(error, ARV_DEVICE_ERROR,
                code == kErrInvalidAddress ? ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS
                : code == kErrAccessDenied ? ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED
                : code == kErrTimeout      ? ARV_DEVICE_ERROR_TIMEOUT
                                           : ARV_DEVICE_ERROR_TRANSFER_ERROR,
                "port %s at 0x%" G_GINT64_MODIFIER "x failed: %d", write ? "write" : "read", address, code);
    return FALSE;
}

bool GenTLNodeMap::declaresEvent(uint64_t eventId) const noexcept
{
    return std::find(eventIds_.begin(), eventIds_.end(), eventId) != eventIds_.end();
}

void GenTLNodeMap::detach() noexcept
{
    std::lock_guard<std::mutex> lock(target_->mutex);
    target_->port = nullptr;
}

KyrCamErr GenTLNodeMap::read(uint64_t address, void *buffer, size_t size) noexcept
{
    return access(address, buffer, size, false);
}

KyrCamErr GenTLNodeMap::write(uint64_t address, const void *data, size_t size) noexcept
{
    return access(address, const_cast<void *>(data), size, true);
}

KyrCamErr GenTLNodeMap::access(uint64_t address, void *bytes, size_t size, bool write) noexcept
{
    std::unique_lock<std::mutex> lock(target_->mutex);
    if (!target_->port)
        return kErrIo;
    const GenTLFunctions *fn = target_->fn;
    PORT_HANDLE port = target_->port;
    const auto call = [fn, port, address, write](void *data, size_t *done) {
        return write ? gentlCall(fn->GCWritePort, port, address, static_cast<const void *>(data), done)
                     : gentlCall(fn->GCReadPort, port, address, data, done);
    };
    if (!target_->worker) {
        size_t done = size;
        const GC_ERROR code = call(bytes, &done);
        if (code != GC_ERR_SUCCESS)
            return gentlCode(code);
        return done == size ? kOk : kErrIo;
    }
    GenTLWorker *worker = target_->worker;
    lock.unlock();
    try {
        // The call may finish after we stopped waiting: it works on a copy
        // that it shares, never on the caller's memory.
        auto copy = std::make_shared<std::string>(size, '\0');
        auto done = std::make_shared<size_t>(size);
        if (write)
            std::memcpy(&(*copy)[0], bytes, size);
        const KyrCamErr code =
            worker->run([call, copy, done] { return call(&(*copy)[0], done.get()); }, kGenTLPortTimeoutMs);
        if (code != kOk)
            return code;
        if (*done != size)
            return kErrIo;
        if (!write)
            std::memcpy(bytes, copy->data(), size);
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

} // namespace KyrCam
