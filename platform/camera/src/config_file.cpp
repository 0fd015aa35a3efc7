// Configuration files: a header naming the device, then one Feature=Value line
// per writable feature from a walk of the feature tree. A selector is written
// once per entry, each followed by the features it selects, and finally with
// its own value again.
//
// Loading reads and checks the whole file before it touches the device: lines
// are bounded, every name must be a feature of the device. It then plans the
// writes: each feature takes the last value the file gives it under the same
// selector values, so the work grows with the device's features, not with the
// file. The plan runs in file order; writes that fail are retried, with their
// selectors set again, after the others while some succeed (a feature may
// depend on one written after it: a maximum on a binning, say). A load that
// fails puts back every value it changed and logs the failing line.

#include "device_private.h"

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <utility>

#include "config_file_private.h"
#include "system_private.h"

namespace KyrCam {

namespace {

constexpr char kMagic[] = "# KyrCameraApi device configuration";
constexpr char kDeviceSection[] = "[Device]";
constexpr char kFeatureSection[] = "[Features]";
constexpr int kSelectorValueLimit = 64;
constexpr uint64_t kRediscoveryTimeoutMs = 3000;
// Longer lines, or larger files, are not configuration files.
constexpr size_t kMaxLineBytes = 64 * 1024;
constexpr size_t kMaxFileBytes = 64 * 1024 * 1024;
// Rounds of retries after the first pass.
constexpr int kRetryRounds = 8;

using Lock = std::lock_guard<std::recursive_mutex>;

struct Header {
    std::string vendor;
    std::string model;
    std::string serial;
};

struct Line {
    std::string name;
    std::string value;
    size_t number;  // in the file, from 1
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

// Reads the file line by line without trusting it: a line longer than
// kMaxLineBytes (say /dev/zero's) ends the read at once.
class LineReader
{
public:
    explicit LineReader(std::ifstream &file) : file_(file) {}

    // The next line without its end (LF or CRLF); false at the end of the
    // file, or with `error_` set.
    bool next(std::string &line)
    {
        line.clear();
        char c = 0;
        while (file_.get(c)) {
            if (++read_ > kMaxFileBytes || line.size() >= kMaxLineBytes) {
                error_ = kErrWrongConfiguration;
                return false;
            }
            if (c == '\n')
                break;
            line += c;
        }
        if (file_.bad())
            error_ = kErrFileRead;
        if (error_ != kOk || (file_.eof() && line.empty()))
            return false;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        ++number_;
        return true;
    }

    KyrCamErr error() const { return error_; }
    size_t number() const { return number_; }

private:
    std::ifstream &file_;
    size_t read_ = 0;
    size_t number_ = 0;
    KyrCamErr error_ = kOk;
};

KyrCamErr readFile(const char *path, Header &header, std::vector<Line> &lines)
{
    if (!path)
        return kErrFileNotFound;
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open())
        return kErrFileNotFound;
    LineReader reader(file);
    std::string text;
    if (!reader.next(text) || text != kMagic)
        return reader.error() != kOk ? reader.error() : kErrWrongConfiguration;
    bool features = false;
    bool device = false;
    while (reader.next(text)) {
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
        // A NUL would cut the value short on its way to the device.
        if (equals == std::string::npos || equals == 0 || text.find('\0') != std::string::npos) {
            logDebug("config: line %zu is not Feature=Value", reader.number());
            return kErrWrongConfiguration;
        }
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
        lines.push_back(Line{ name, value, reader.number() });
    }
    if (reader.error() != kOk) {
        logDebug("config: line %zu is too long, or the file too large", reader.number() + 1);
        return reader.error();
    }
    if (!device || header.model.empty())
        return kErrWrongConfiguration;
    return kOk;
}

ArvGcFeatureNode *featureNamed(ArvGc *gc, const std::string &name)
{
    ArvGcNode *node = arv_gc_get_node(gc, name.c_str());
    return node && ARV_IS_GC_FEATURE_NODE(node) ? ARV_GC_FEATURE_NODE(node) : nullptr;
}

KyrCamErr setValue(ArvGcFeatureNode *feature, const std::string &value)
{
    AravisError error;
    arv_gc_feature_node_set_value_from_string(feature, value.c_str(), error.out());
    return error.code();
}

KyrCamErr getValue(ArvGcFeatureNode *feature, std::string &value)
{
    AravisError error;
    const char *text = arv_gc_feature_node_get_value_as_string(feature, error.out());
    value = text ? text : "";
    return error.code();
}

// The selectors of a device's description, and for each feature the selectors
// that select it.
struct Selectors {
    explicit Selectors(ArvGc *gc) { collect(ARV_DOM_NODE(arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(gc)))); }

    void collect(ArvDomNode *parent)
    {
        for (ArvDomNode *child = arv_dom_node_get_first_child(parent); child;
             child = arv_dom_node_get_next_sibling(child)) {
            if (isSelector(ARV_GC_NODE(child))) {
                const std::string name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(child));
                names.insert(name);
                for (const GSList *item = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(child)); item;
                     item = item->next)
                    of[arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(item->data))].push_back(name);
            } else if (ARV_IS_DOM_ELEMENT(child) && !ARV_IS_GC_FEATURE_NODE(child)) {
                collect(child);
            }
        }
    }

    std::set<std::string> names;
    std::map<std::string, std::vector<std::string>> of;
};

// One write of a load: the feature's value under its selectors' values.
struct Write {
    Write(ArvGc *gc, const Line &line) : feature(featureNamed(gc, line.name)), value(line.value), line(line.number) {}

    ArvGcFeatureNode *feature;
    std::vector<std::pair<ArvGcFeatureNode *, std::string>> selectors;
    std::string value;
    size_t line;
    std::string original;  // the device's value before the load
    bool applied = false;
};

// Turns the file's lines into writes: checks every name, and keeps for each
// feature and selector values the last value the file gives, where it gives
// it. Selectors end with the value the file leaves them at.
KyrCamErr plan(ArvGc *gc, const std::vector<Line> &lines, std::vector<Write> &writes)
{
    const Selectors selectors(gc);
    std::map<std::string, std::string> current;  // selector values so far
    std::map<std::string, size_t> latest;         // write key -> line index
    std::vector<std::string> keys(lines.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        const Line &line = lines[i];
        if (!featureNamed(gc, line.name)) {
            logDebug("config: line %zu: no feature %s", line.number, line.name.c_str());
            return kErrGenICamUnknownParameter;
        }
        if (selectors.names.count(line.name) != 0) {
            current[line.name] = line.value;
            continue;
        }
        std::string key = line.name;
        const auto selecting = selectors.of.find(line.name);
        if (selecting != selectors.of.end()) {
            for (const std::string &selector : selecting->second)
                key += '\0' + selector + '=' + current[selector];
        }
        latest[key] = i;
        keys[i] = std::move(key);
    }
    std::map<std::string, size_t> lastSelectorLine;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (selectors.names.count(lines[i].name) != 0)
            lastSelectorLine[lines[i].name] = i;
    }
    // Selector values in effect at each kept line, replayed in file order.
    current.clear();
    for (size_t i = 0; i < lines.size(); ++i) {
        const Line &line = lines[i];
        if (selectors.names.count(line.name) != 0) {
            current[line.name] = line.value;
            if (lastSelectorLine[line.name] == i)
                writes.emplace_back(gc, line);
            continue;
        }
        if (latest[keys[i]] != i)
            continue;
        Write write(gc, line);
        const auto selecting = selectors.of.find(line.name);
        if (selecting != selectors.of.end()) {
            for (const std::string &selector : selecting->second) {
                const auto value = current.find(selector);
                if (value != current.end())
                    write.selectors.emplace_back(featureNamed(gc, selector), value->second);
            }
        }
        writes.push_back(std::move(write));
    }
    return kOk;
}

// Sets a write's selectors, then reads (`read`) or writes its feature.
KyrCamErr run(Write &write, bool read)
{
    for (const auto &selector : write.selectors) {
        const KyrCamErr code = setValue(selector.first, selector.second);
        if (code != kOk)
            return code;
    }
    return read ? getValue(write.feature, write.original) : setValue(write.feature, write.value);
}

// Puts back the values that applied writes changed, latest first.
void restore(std::vector<Write> &writes)
{
    for (auto write = writes.rbegin(); write != writes.rend(); ++write) {
        if (!write->applied)
            continue;
        for (const auto &selector : write->selectors)
            setValue(selector.first, selector.second);
        if (setValue(write->feature, write->original) != kOk)
            logDebug("config: could not put back %s", arv_gc_feature_node_get_name(write->feature));
    }
}

} // namespace

KyrCamErr saveConfiguration(AravisDevice &device, const char *path) noexcept
{
    // A lost device would only make each read time out.
    if (device.lost())
        return kErrIo;
    try {
        const DeviceRecord record = device.info().record();
        return saveFeatures(device.camera(), record.vendor, record.model, record.serial, path);
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr saveFeatures(AravisParamArray *camera, const std::string &vendor, const std::string &model,
                       const std::string &serial, const char *path) noexcept
{
    if (!path)
        return kErrIo;
    if (!camera)
        return kErrNotAvailable;
    try {
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
             << "Vendor=" << escape(vendor) << '\n'
             << "Model=" << escape(model) << '\n'
             << "SerialNumber=" << escape(serial) << '\n'
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
    if (device.lost())
        return kErrIo;
    try {
        const DeviceRecord record = device.info().record();
        return loadFeatures(device.camera(), record.vendor, record.model, path);
    } catch (...) {
        return kErrOutOfMemory;
    }
}

KyrCamErr loadFeatures(AravisParamArray *camera, const std::string &vendor, const std::string &model,
                       const char *path) noexcept
{
    if (!camera)
        return kErrNotAvailable;
    try {
        Header header;
        std::vector<Line> lines;
        KyrCamErr code = readFile(path, header, lines);
        if (code != kOk)
            return code;
        if (header.vendor != vendor || header.model != model)
            return kErrWrongConfiguration;

        Lock lock(camera->mutex());
        std::vector<Write> writes;
        code = plan(camera->gc(), lines, writes);
        if (code != kOk)
            return code;
        // What to put back on failure: first what needs no selector (the
        // selectors among them), then the rest, which sets selectors.
        for (const bool selected : { false, true }) {
            for (Write &write : writes) {
                if (write.selectors.empty() == selected)
                    continue;
                code = run(write, true);
                if (code != kOk) {
                    logDebug("config: line %zu: %s unreadable", write.line,
                             arv_gc_feature_node_get_name(write.feature));
                    // Reads under selectors changed them: put back all
                    // that the first pass read.
                    for (Write &unselected : writes)
                        unselected.applied = selected && unselected.selectors.empty();
                    restore(writes);
                    return code;
                }
            }
        }
        std::vector<Write *> pending;
        for (Write &write : writes)
            pending.push_back(&write);
        for (int round = 0; round <= kRetryRounds && !pending.empty(); ++round) {
            std::vector<Write *> failed;
            for (Write *write : pending) {
                const KyrCamErr lineCode = run(*write, false);
                write->applied = write->applied || lineCode == kOk;
                if (lineCode != kOk) {
                    failed.push_back(write);
                    if (failed.size() == 1)
                        code = lineCode;
                }
            }
            if (failed.size() == pending.size())
                break;
            pending = std::move(failed);
        }
        if (pending.empty())
            return kOk;
        logDebug("config: line %zu: %s=%s refused (%d); the load is undone", pending.front()->line,
                 arv_gc_feature_node_get_name(pending.front()->feature), pending.front()->value.c_str(), code);
        restore(writes);
        return code;
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
                return createGenTLDeviceFromConfig(path, header.vendor, header.model, header.serial, err);
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
