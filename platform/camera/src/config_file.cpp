// Configuration files: a header naming the device, then one Feature=Value line
// per writable feature from a walk of the feature tree. A selector is written
// once per entry, each followed by the features it selects, and finally with
// its own value again. Loading applies the lines in file order and retries the
// ones that failed, after the others, as long as some succeed: a feature may
// depend on one written after it (a maximum on a binning, say).

#include "device_private.h"

#include <fstream>
#include <set>
#include <sstream>

#include "system_private.h"

namespace KyrCam {

namespace {

constexpr char kMagic[] = "# KyrCameraApi device configuration";
constexpr char kDeviceSection[] = "[Device]";
constexpr char kFeatureSection[] = "[Features]";
constexpr int kSelectorValueLimit = 64;
constexpr uint64_t kRediscoveryTimeoutMs = 3000;

using Lock = std::lock_guard<std::recursive_mutex>;

struct Header {
    std::string vendor;
    std::string model;
    std::string serial;
};

struct Line {
    std::string name;
    std::string value;
    // Selector lines in effect where this line stands, by position.
    std::vector<size_t> context;
};

std::string escape(const std::string &text)
{
    std::string out;
    for (char c : text) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else
            out += c;
    }
    return out;
}

std::string unescape(const std::string &text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char next = text[++i];
        out += next == 'n' ? '\n' : next == 'r' ? '\r' : next;
    }
    return out;
}

bool usable(ArvGcFeatureNode *node)
{
    AravisError error;
    const bool available = arv_gc_feature_node_is_implemented(node, error.out()) &&
                           arv_gc_feature_node_is_available(node, error.out()) &&
                           !arv_gc_feature_node_is_locked(node, error.out());
    return error.code() == kOk && available &&
           arv_gc_feature_node_get_actual_access_mode(node) == ARV_GC_ACCESS_MODE_RW;
}

bool isSelector(ArvGcNode *node)
{
    return ARV_IS_GC_SELECTOR(node) && arv_gc_selector_is_selector(ARV_GC_SELECTOR(node));
}

class Writer
{
public:
    explicit Writer(ArvGc *gc) : gc_(gc) {}

    KyrCamErr walk(const char *name)
    {
        ArvGcNode *node = arv_gc_get_node(gc_, name);
        if (!node || !ARV_IS_GC_FEATURE_NODE(node) || !visited_.insert(name).second)
            return kOk;
        if (ARV_IS_GC_CATEGORY(node)) {
            for (const GSList *item = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); item; item = item->next) {
                const KyrCamErr code = walk(static_cast<const char *>(item->data));
                if (code != kOk)
                    return code;
            }
            return kOk;
        }
        auto *feature = ARV_GC_FEATURE_NODE(node);
        if (ARV_IS_GC_COMMAND(node) || selected_.count(name) != 0 || !usable(feature))
            return kOk;
        return isSelector(node) ? selector(feature) : line(feature);
    }

    // Features that some selector selects are written with it only.
    void markSelected(ArvDomNode *parent)
    {
        for (ArvDomNode *child = arv_dom_node_get_first_child(parent); child;
             child = arv_dom_node_get_next_sibling(child)) {
            if (isSelector(ARV_GC_NODE(child))) {
                for (const GSList *item = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(child)); item;
                     item = item->next)
                    selected_.insert(arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(item->data)));
            } else if (ARV_IS_DOM_ELEMENT(child) && !ARV_IS_GC_FEATURE_NODE(child)) {
                markSelected(child);
            }
        }
    }

    std::string text() const { return out_.str(); }

private:
    KyrCamErr line(ArvGcFeatureNode *feature)
    {
        AravisError error;
        const char *value = arv_gc_feature_node_get_value_as_string(feature, error.out());
        if (error.failed())
            return error.code();
        out_ << arv_gc_feature_node_get_name(feature) << '=' << escape(value ? value : "") << '\n';
        return kOk;
    }

    KyrCamErr selector(ArvGcFeatureNode *feature)
    {
        AravisError error;
        const char *current = arv_gc_feature_node_get_value_as_string(feature, error.out());
        if (error.failed())
            return error.code();
        const std::string original = current ? current : "";
        for (const std::string &value : selectorValues(feature)) {
            arv_gc_feature_node_set_value_from_string(feature, value.c_str(), error.out());
            if (error.failed()) {
                error.code();
                continue;
            }
            out_ << arv_gc_feature_node_get_name(feature) << '=' << escape(value) << '\n';
            for (const GSList *item = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(feature)); item;
                 item = item->next) {
                auto *selected = ARV_GC_FEATURE_NODE(item->data);
                if (!ARV_IS_GC_COMMAND(selected) && usable(selected)) {
                    const KyrCamErr code = line(selected);
                    if (code != kOk)
                        return code;
                }
            }
        }
        arv_gc_feature_node_set_value_from_string(feature, original.c_str(), error.out());
        out_ << arv_gc_feature_node_get_name(feature) << '=' << escape(original) << '\n';
        return error.code();
    }

    std::vector<std::string> selectorValues(ArvGcFeatureNode *feature)
    {
        std::vector<std::string> values;
        if (ARV_IS_GC_ENUMERATION(feature)) {
            for (const GSList *item = arv_gc_enumeration_get_entries(ARV_GC_ENUMERATION(feature)); item;
                 item = item->next) {
                auto *entry = ARV_GC_FEATURE_NODE(item->data);
                AravisError error;
                if (arv_gc_feature_node_is_available(entry, error.out()) && error.code() == kOk)
                    values.emplace_back(arv_gc_feature_node_get_name(entry));
            }
        } else if (ARV_IS_GC_INTEGER(feature)) {
            AravisError error;
            const int64_t min = arv_gc_integer_get_min(ARV_GC_INTEGER(feature), error.out());
            const int64_t max = arv_gc_integer_get_max(ARV_GC_INTEGER(feature), error.out());
            int64_t step = arv_gc_integer_get_inc(ARV_GC_INTEGER(feature), error.out());
            if (error.code() == kOk) {
                step = step > 0 ? step : 1;
                for (int64_t v = min; v <= max && int(values.size()) < kSelectorValueLimit; v += step)
                    values.push_back(std::to_string(v));
            }
        }
        return values;
    }

    ArvGc *gc_;
    std::set<std::string> visited_;
    std::set<std::string> selected_;
    std::ostringstream out_;
};

KyrCamErr readFile(const char *path, Header &header, std::vector<Line> &lines)
{
    if (!path)
        return kErrFileNotFound;
    std::ifstream file(path);
    if (!file.is_open())
        return kErrFileNotFound;
    std::string text;
    if (!std::getline(file, text) || text != kMagic)
        return file.bad() ? kErrFileRead : kErrWrongConfiguration;
    bool features = false;
    bool device = false;
    std::vector<size_t> selectorLines;
    while (std::getline(file, text)) {
        if (!text.empty() && text.back() == '\r')
            text.pop_back();
        if (text.empty() || text[0] == '#')
            continue;
        if (text == kDeviceSection) {
            device = true;
            continue;
        }
        if (text == kFeatureSection) {
            features = true;
            continue;
        }
        const size_t equals = text.find('=');
        if (equals == std::string::npos || equals == 0)
            return kErrWrongConfiguration;
        const std::string name = text.substr(0, equals);
        const std::string value = unescape(text.substr(equals + 1));
        if (!features) {
            if (!device)
                return kErrWrongConfiguration;
            if (name == "Vendor")
                header.vendor = value;
            else if (name == "Model")
                header.model = value;
            else if (name == "SerialNumber")
                header.serial = value;
            continue;
        }
        lines.push_back(Line{ name, value, selectorLines });
        selectorLines.push_back(lines.size() - 1);
    }
    if (file.bad())
        return kErrFileRead;
    if (!device || header.model.empty())
        return kErrWrongConfiguration;
    return kOk;
}

KyrCamErr setFeature(ArvGc *gc, const Line &line)
{
    ArvGcNode *node = arv_gc_get_node(gc, line.name.c_str());
    if (!node || !ARV_IS_GC_FEATURE_NODE(node))
        return kErrGenICamUnknownParameter;
    AravisError error;
    arv_gc_feature_node_set_value_from_string(ARV_GC_FEATURE_NODE(node), line.value.c_str(), error.out());
    return error.code();
}

} // namespace

KyrCamErr saveConfiguration(AravisDevice &device, const char *path) noexcept
{
    if (!path)
        return kErrIo;
    AravisParamArray *camera = device.camera();
    if (!camera)
        return kErrNotAvailable;
    try {
        const DeviceRecord record = device.info().record();
        std::string features;
        {
            Lock lock(camera->mutex());
            Writer writer(camera->gc());
            writer.markSelected(ARV_DOM_NODE(arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(camera->gc()))));
            const KyrCamErr code = writer.walk("Root");
            if (code != kOk)
                return code;
            features = writer.text();
        }
        std::ofstream file(path, std::ios::trunc);
        if (!file.is_open())
            return kErrIo;
        file << kMagic << '\n'
             << kDeviceSection << '\n'
             << "Vendor=" << escape(record.vendor) << '\n'
             << "Model=" << escape(record.model) << '\n'
             << "SerialNumber=" << escape(record.serial) << '\n'
             << kFeatureSection << '\n'
             << features;
        file.close();
        return file.fail() ? kErrIo : kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr loadConfiguration(AravisDevice &device, const char *path) noexcept
{
    AravisParamArray *camera = device.camera();
    if (!camera)
        return kErrNotAvailable;
    try {
        Header header;
        std::vector<Line> lines;
        KyrCamErr code = readFile(path, header, lines);
        if (code != kOk)
            return code;
        const DeviceRecord record = device.info().record();
        if (header.vendor != record.vendor || header.model != record.model)
            return kErrWrongConfiguration;

        Lock lock(camera->mutex());
        std::vector<size_t> pending(lines.size());
        for (size_t i = 0; i < pending.size(); ++i)
            pending[i] = i;
        bool retry = false;
        while (!pending.empty()) {
            std::vector<size_t> failed;
            code = kOk;
            for (size_t index : pending) {
                // A retried line first puts back the selectors it was written
                // under.
                if (retry) {
                    for (size_t selector : lines[index].context) {
                        if (lines[selector].name != lines[index].name)
                            setFeature(camera->gc(), lines[selector]);
                    }
                }
                const KyrCamErr lineCode = setFeature(camera->gc(), lines[index]);
                if (lineCode != kOk) {
                    failed.push_back(index);
                    if (code == kOk)
                        code = lineCode;
                }
            }
            if (failed.size() == pending.size())
                return code;
            pending = std::move(failed);
            retry = true;
        }
        return kOk;
    } catch (...) {
        return kErrOutOfMemory;
    }
}

Device *createDeviceFromConfig(const char *path, KyrCamErr *err) noexcept
{
    try {
        Header header;
        std::vector<Line> lines;
        KyrCamErr code = readFile(path, header, lines);
        AravisSystem *system = aravisSystem();
        if (code == kOk && !system)
            code = kErrNotInitialized;
        AravisDeviceInfo *info = nullptr;
        if (code == kOk) {
            info = system->findDevice(header.vendor, header.model, header.serial);
            if (!info && system->enumerate(kRediscoveryTimeoutMs))
                info = system->findDevice(header.vendor, header.model, header.serial);
            if (!info)
                code = kErrNoDevice;
        }
        std::unique_ptr<AravisDevice> device;
        if (code == kOk)
            code = openDevice(info, kOpenControl, device);
        if (code == kOk)
            code = device->LoadConfiguration(path);
        setError(err, code);
        return code == kOk ? device.release() : nullptr;
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return nullptr;
    }
}

} // namespace KyrCam
