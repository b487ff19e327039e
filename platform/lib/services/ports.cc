// Port conflicts between the appliance's services.

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include <vorn/err.h>
#include <vorn/root.h>
#include <vorn/service.h>
#include <vorn/webserver.h>

#include "base/file_read.h"
#include "base/text.h"
#include "lib/core/no_throw.h"
#include "lib/files/section_format.h"

namespace {

struct Range {
    int from = 0;
    int to = 0;
};

struct Taken {
    std::string service;
    Range range;
};

std::string Trimmed(const std::string& text)
{
    const size_t start = text.find_first_not_of(" \t");
    if (start == std::string::npos)
        return "";
    return text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

std::vector<std::string> CommaList(const std::string& text)
{
    std::vector<std::string> items;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(',', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string item = Trimmed(text.substr(start, end - start));
        if (!item.empty())
            items.push_back(item);
        start = end + 1;
    }
    return items;
}

bool ParsePort(const std::string& text, int& port)
{
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    port = atoi(text.c_str());
    return port >= 1 && port <= 65535;
}

// "22", "5000:5010" or a comma list of them; false for anything else.
bool ParseRanges(const std::string& text, std::vector<Range>& ranges)
{
    const std::vector<std::string> items = CommaList(text);
    for (const std::string& item : items) {
        Range range;
        const size_t colon = item.find(':');
        const bool ok = colon == std::string::npos
                            ? ParsePort(item, range.from) && ParsePort(item, range.to)
                            : ParsePort(Trimmed(item.substr(0, colon)), range.from) &&
                                  ParsePort(Trimmed(item.substr(colon + 1)), range.to);
        if (!ok || range.from > range.to)
            return false;
        ranges.push_back(range);
    }
    return !items.empty();
}

// The ports of each section of ports.conf for the protocol; a value that
// does not parse is left out.
bool ReadPortsConf(const std::string& protocol, int checks, std::vector<Taken>& taken)
{
    std::string content;
    if (!base::ReadWholeFile(VORNRootPathString(VORN_PORTS_FILE).c_str(), content))
        return errno == ENOENT;
    // Sections named twice keep the keys of their last occurrence.
    std::vector<std::pair<std::string, std::string>> values;
    std::string section;
    base::ForEachLine(content, [&](std::string_view line) {
        const vorn::SectionLine parsed = vorn::ParseSectionLine(line);
        if (parsed.kind == vorn::SectionLineKind::kSection) {
            section = std::string(parsed.section);
            for (auto& value : values) {
                if (value.first == section)
                    value.second.clear();
            }
        } else if (parsed.kind == vorn::SectionLineKind::kKey && !section.empty() && parsed.key == protocol) {
            bool found = false;
            for (auto& value : values) {
                if (value.first == section) {
                    value.second = std::string(parsed.value);
                    found = true;
                }
            }
            if (!found)
                values.emplace_back(section, std::string(parsed.value));
        }
        return true;
    });
    for (const auto& value : values) {
        const bool reserved = value.first == "reserved";
        if ((reserved && (checks & VORN_PORT_CHECK_RESERVED) == 0) ||
            (!reserved && (checks & VORN_PORT_CHECK_SERVICES) == 0))
            continue;
        std::vector<Range> ranges;
        if (!ParseRanges(value.second, ranges))
            continue;
        for (const Range& range : ranges)
            taken.push_back(Taken{value.first, range});
    }
    return true;
}

void AddWebUiPorts(const std::string& protocol, std::vector<Taken>& taken)
{
    if (protocol != "tcp")
        return;
    for (const int https : {0, 1}) {
        const int port = VORNWebServerPortGet(https);
        taken.push_back(Taken{"webui", Range{port, port}});
    }
}

VORN_SERVICE_PORT* NewEntry(const Taken& taken, const std::string& protocol)
{
    VORN_SERVICE_PORT* entry = static_cast<VORN_SERVICE_PORT*>(calloc(1, sizeof(VORN_SERVICE_PORT)));
    if (entry == nullptr)
        return nullptr;
    snprintf(entry->szService, sizeof entry->szService, "%s", taken.service.c_str());
    snprintf(entry->szProtocol, sizeof entry->szProtocol, "%s", protocol.c_str());
    entry->from = taken.range.from;
    entry->to = taken.range.to;
    return entry;
}

}  // namespace

extern "C" int VLIBIsPortConflict(const char* excluded, const char* ports, const char* protocol, int checks,
                                  VORN_SERVICE_PORT** conflicts)
{
    if (conflicts != nullptr)
        *conflicts = nullptr;
    if (ports == nullptr || protocol == nullptr || (strcmp(protocol, "tcp") != 0 && strcmp(protocol, "udp") != 0)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<Range> wanted;
        if (!ParseRanges(ports, wanted)) {
            VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
            return -1;
        }
        std::vector<Taken> taken;
        if (!ReadPortsConf(protocol, checks, taken)) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        if ((checks & VORN_PORT_CHECK_WEB_UI) != 0)
            AddWebUiPorts(protocol, taken);
        const std::vector<std::string> leftOut = CommaList(excluded != nullptr ? excluded : "");
        int count = 0;
        VORN_SERVICE_PORT** tail = conflicts;
        for (const Taken& other : taken) {
            bool skip = false;
            for (const std::string& name : leftOut)
                skip = skip || name == other.service;
            bool overlaps = false;
            for (const Range& range : wanted)
                overlaps = overlaps || (range.from <= other.range.to && other.range.from <= range.to);
            if (skip || !overlaps)
                continue;
            ++count;
            if (tail == nullptr)
                continue;
            *tail = NewEntry(other, protocol);
            if (*tail == nullptr) {
                VORNServiceConfPortsFree(*conflicts);
                *conflicts = nullptr;
                VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
                return -1;
            }
            tail = &(*tail)->next;
        }
        return count;
    });
}

extern "C" void VORNServiceConfPortsFree(VORN_SERVICE_PORT* list)
{
    while (list != nullptr) {
        VORN_SERVICE_PORT* next = list->next;
        free(list);
        list = next;
    }
}
