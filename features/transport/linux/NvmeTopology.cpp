#include "features/transport/linux/NvmeTopology.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "features/transport/linux/Sysfs.h"

namespace features::transport {

namespace {

/// "nvme" and digits: fabrics have further entries in the class folder.
bool isControllerName(const std::string& name) {
    return name.size() > 4 && name.compare(0, 4, "nvme") == 0 &&
           std::all_of(name.begin() + 4, name.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// Worth a look for an "nsid": the controller's folder has dozens of other entries, and each look costs a call.
bool mayBeNamespace(const std::string& name) {
    return name.compare(0, 4, "nvme") == 0 && name.find('n', 4) != std::string::npos;
}

std::optional<uint32_t> nsidOf(const std::string& folder, LookErrors& errors) {
    const auto number = readNumber(folder + "/nsid", errors);
    return number ? std::optional<uint32_t>(static_cast<uint32_t>(*number)) : std::nullopt;
}

/// "nvme0n1" of "nvme0c1n1"; empty when the name is not that of a path.
std::string headName(const std::string& path) {
    const std::size_t c = path.find('c', 4);
    const std::size_t n = path.find('n', 4);
    return c == std::string::npos || n == std::string::npos || n < c ? std::string()
                                                                     : path.substr(0, c) + path.substr(n);
}

/// A path below a multipath head: the kernel marks it as hidden.
bool isHidden(const std::string& folder, LookErrors& errors) {
    return readNumber(folder + "/hidden", errors).value_or(0) != 0;
}

}  // namespace

bool NvmeTopology::isVisible(LookErrors& errors) const {
    return isSysfs(paths_, errors);
}

bool NvmeTopology::wasVisible(LookErrors& errors) const {
    if (!wasVisible_) wasVisible_ = isVisible(errors);
    return wasVisible_;
}

void NvmeTopology::addNodes(std::vector<std::string>& names, LookErrors& errors) const {
    for (const std::string& name : listFolder(paths_.dev, errors)) {
        if (isControllerName(name) && paths_.kernel->isCharacterDevice(paths_.dev + "/" + name)) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
}

std::vector<std::string> NvmeTopology::controllers(LookErrors& errors) const {
    // Without the driver there is no such folder; without sysfs its absence means nothing.
    LookErrors seen;
    (void)wasVisible(seen);  // what was found stays found
    std::vector<std::string> names = listFolder(paths_.sys + "/class/nvme", seen);
    names.erase(std::remove_if(names.begin(), names.end(), [](const auto& name) { return !isControllerName(name); }),
                names.end());
    if (!seen.isEmpty()) addNodes(names, seen);
    errors.add(seen);
    return names;
}

std::string NvmeTopology::subsystemFolder(const std::string& controller, LookErrors& errors) const {
    subsystemsRead_.run([this] {
        subsystemErrors_ = LookErrors();
        const std::string root = paths_.sys + "/class/nvme-subsystem";
        for (const std::string& subsystem : listFolder(root, subsystemErrors_)) {
            const std::string folder = root + "/" + subsystem;
            for (const std::string& entry : listFolder(folder, subsystemErrors_)) {
                if (isControllerName(entry)) subsystemFolders_[entry] = folder;
            }
        }
    });
    errors.add(subsystemErrors_);
    const auto found = subsystemFolders_.find(controller);
    return found == subsystemFolders_.end() ? std::string() : found->second;
}

std::vector<std::string> NvmeTopology::subsystemOf(const std::string& controller, LookErrors& errors) const {
    const std::string folder = subsystemFolder(controller, errors);
    std::vector<std::string> names = folder.empty() ? std::vector<std::string>() : listFolder(folder, errors);
    names.erase(std::remove_if(names.begin(), names.end(), [](const auto& name) { return !isControllerName(name); }),
                names.end());
    // An older kernel without subsystems: the controller is alone.
    return names.empty() ? std::vector<std::string>{controller} : names;
}

std::map<uint32_t, std::string> NvmeTopology::multipathHeads(const std::string& controller, LookErrors& errors) const {
    std::map<uint32_t, std::string> heads;
    const std::string folder = subsystemFolder(controller, errors);
    if (folder.empty()) return heads;
    for (const std::string& entry : listFolder(folder, errors)) {
        if (!mayBeNamespace(entry)) continue;
        if (const auto nsid = nsidOf(folder + "/" + entry, errors)) heads[*nsid] = entry;
    }
    return heads;
}

std::vector<NamespaceNode> NvmeTopology::namespacesOf(const std::string& controller, LookErrors& errors) const {
    std::vector<NamespaceNode> nodes;
    std::optional<std::map<uint32_t, std::string>> heads;  // looked for when the first hidden path turns up
    const std::vector<std::string> entries = listFolder(controllerFolder(controller), errors);
    if (entries.empty()) (void)isVisible(errors);  // a controller that is gone, or nothing to be seen at all
    for (const std::string& entry : entries) {
        if (!mayBeNamespace(entry)) continue;
        const std::string folder = controllerFolder(controller) + "/" + entry;
        const auto nsid = nsidOf(folder, errors);
        if (!nsid) continue;
        // The kernel makes both names from the same numbers; a look into the node's own file is cheaper than one into
        // every namespace of the subsystem.
        const std::string expected = headName(entry);
        if (!expected.empty() && nsidOf(blockFolder(expected), errors) == nsid) {
            nodes.push_back({*nsid, expected});
            continue;
        }
        if (!isHidden(folder, errors)) {
            nodes.push_back({*nsid, entry});
            continue;
        }
        if (!heads) heads = multipathHeads(controller, errors);
        const auto head = heads->find(*nsid);
        nodes.push_back({*nsid, head == heads->end() ? std::string() : head->second});
    }
    std::sort(nodes.begin(), nodes.end(), [](const auto& a, const auto& b) { return a.nsid < b.nsid; });
    return nodes;
}

std::vector<std::string> NvmeTopology::controllersOf(const std::string& block, LookErrors& errors) const {
    std::vector<std::string> found;
    for (const std::string& controller : controllers(errors)) {
        const std::vector<NamespaceNode> nodes = namespacesOf(controller, errors);
        if (std::any_of(nodes.begin(), nodes.end(), [&](const auto& node) { return node.block == block; })) {
            found.push_back(controller);
        }
    }
    return found;
}

}  // namespace features::transport
