#include "router_documents.h"

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

namespace dashboard::testing {

namespace {

router_documents& documents_of(void* context) {
    return *static_cast<router_documents*>(context);
}

void list_documents(void* context, document_list& there) {
    for (const auto& [name, document] : documents_of(context).files) {
        unsigned number = 0;
        if (sscanf(name.c_str(), "aptraffic_sec_%u.xml", &number) == 1 && number < ap_total) {
            there.ap[number] = true;
        }
        if (sscanf(name.c_str(), "bond_traffic_sec_%u.xml", &number) == 1 && number < bond_total) {
            there.bond[number] = true;
        }
    }
}

document_fault read_one(void* context, const char* name, size_t longest, document_piece& piece) {
    const router_documents& all = documents_of(context);
    const auto fault = all.faults.find(name);
    const auto found = all.files.find(name);
    if (fault != all.faults.end() || found == all.files.end()) {
        return fault != all.faults.end() ? fault->second : document_fault::missing;
    }
    const std::string& text = found->second.text;
    piece.size = text.size();
    piece.written = found->second.written;
    piece.end_length = std::min(text.size(), longest);
    piece.head_length = std::min(text.size(), sizeof piece.head);
    memcpy(piece.head, text.data(), piece.head_length);
    memcpy(piece.end, text.data() + text.size() - piece.end_length, piece.end_length);
    return document_fault::none;
}

std::string number_text(uint64_t number) {
    return std::to_string(number);
}

} // namespace

std::string document_of(const std::string& lines) {
    return "<?xml version=\"1.0\" ?>\n<datalist>\n" + lines + "</datalist>\n";
}

std::string sample_lines_of(int64_t time, const element_list& elements) {
    std::string lines = "    <time>" + std::to_string(time) + "000</time>\n";
    for (const auto& [name, text] : elements) {
        lines.append("    <").append(name).append(">").append(text).append("</").append(name).append(">\n");
    }
    return lines;
}

void router_documents::put(const std::string& name, const element_list& elements, int64_t time) {
    element_list before = elements;
    for (auto& [element, text] : before) {
        text = std::string(text.size(), '1'); // whoever reads this one shows it
    }
    std::string lines;
    for (int64_t back = older; back > 0; --back) {
        lines += sample_lines_of(time - back, before);
    }
    files[name] = {document_of(lines + sample_lines_of(time, elements)), time};
}

void router_documents::put_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file.is_open()) << path;
    std::stringstream content;
    content << file.rdbuf();
    files[std::filesystem::path(path).filename()] = {content.str(), router_now - 1};
}

std::string largest_current_lines(uint64_t first) {
    std::string lines;
    for (unsigned k = 0; k < device_total; ++k) {
        const std::string place = std::to_string(k) + "\">";
        lines += " <item name=\"device_" + place + "interface_" + std::to_string(10000 + k) + "</item>\n";
        lines += " <item name=\"type_" + place + "Wireless LAN</item>\n";
        for (const char* counter : {"tx_", "rx_", "txrate_", "rxrate_"}) {
            lines += " <item name=\"" + (counter + place) + number_text(first++) + "</item>\n";
        }
    }
    lines += " <usage>100|100|100</usage>\n";
    for (const char* port : {"port_eth", "port_3g", "port_use3g"}) {
        for (unsigned n = 1; n <= port_total; ++n) {
            const std::string name = port + std::to_string(n);
            lines.append("  <").append(name).append(">-2147483648</").append(name).append(">\n");
        }
    }
    for (const std::string name : {"port_wifi2g", "port_wifi5g", "port_power"}) {
        lines.append("  <").append(name).append(">2147483647</").append(name).append(">\n");
    }
    return lines;
}

void router_documents::put_limits(uint64_t first) {
    const auto next = [&first] { return number_text(first++); };
    const auto three = [&next](element_list& list, const std::string& name, const char* const(&ends)[3]) {
        for (const char* end : ends) {
            list.emplace_back(name + end, next());
        }
    };
    element_list wan;
    element_list lan;
    element_list allap;
    element_list sim;
    for (unsigned n = 1; n <= 16; ++n) {
        three(wan, "wan" + std::to_string(n), {"_tx", "_rx", "_txrx"});
    }
    for (unsigned n = 1; n <= 5; ++n) {
        three(lan, "lan" + std::to_string(n), {"_tx", "_rx", "_txrx"});
    }
    for (unsigned n = 0; n < 32; ++n) {
        allap.emplace_back("ap_" + std::to_string(n) + "_TxRx", next());
    }
    for (const char* slot : {"sim1_", "sim2_"}) {
        for (const char* measure : {"RSSI", "RSRP", "RSRQ", "SINR", "RSCP", "EcIo"}) {
            sim.emplace_back(std::string(slot) + measure, "-10");
        }
    }
    put("cpu_usage_sec_0.xml",
        {{"cpu_usage", "100"}, {"cpu_usage0", "100"}, {"cpu_usage1", "0"}, {"cpu_usage2", "7"}, {"cpu_usage3", "50"}});
    put("mem_usage_sec_0.xml", {{"mem_usage", "4294967295"}});
    put("wan_traffic_sec_0.xml", wan);
    put("lan_traffic_sec_0.xml", lan);
    put("aptraffic_allap_sec.xml", allap);
    put("sim_strquality_sec_0.xml", sim);
    files["current_traffic_sec_0.xml"] = {document_of(largest_current_lines(first)), newest};
    for (const char* band : {"24", "50"}) {
        element_list vaps = {{std::string("wifi_") + band + "_txrx", next()}};
        for (unsigned v = 1; v <= 8; ++v) {
            const std::string vap = "VAP" + std::to_string(v) + "_" + band;
            three(vaps, vap, {"_Tx", "_Rx", "_TxRx"});
        }
        put(band[0] == '2' ? "wifi_24g_traffic_sec_0.xml" : "wifi_5g_traffic_sec_0.xml", vaps);
    }
    for (unsigned bond = 0; bond < bond_total; ++bond) {
        element_list list = {{"bond" + std::to_string(bond) + "_txrx", next()}};
        for (unsigned slave = 0; slave < slaves_of_bond; ++slave) {
            list.emplace_back("slave" + std::to_string(slave) + "_txrx", next());
        }
        put("bond_traffic_sec_" + std::to_string(bond) + ".xml", list);
    }
    for (unsigned ap = 0; ap < ap_total; ++ap) {
        element_list list;
        for (const char* end : {"_24_TxRx", "_50_TxRx"}) {
            for (unsigned v = 1; v <= 8; ++v) {
                list.emplace_back("VAP" + std::to_string(v) + end, next());
            }
        }
        put("aptraffic_sec_" + std::to_string(ap) + ".xml", list);
    }
}

document_source router_documents::source() {
    return {list_documents, read_one, this};
}

void router_documents::write_to(const std::string& folder) const {
    for (const auto& [name, document] : files) {
        const std::string path = folder + "/" + name;
        std::ofstream(path, std::ios::binary) << document.text;
        const auto second = static_cast<time_t>(document.written);
        const timespec times[2] = {{second, 0}, {second, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
    }
}

router_facts good_facts() {
    router_facts facts = {};
    facts.version = "1.0.0";
    facts.now = router_now;
    facts.uptime = 86400;
    facts.daemon_runs = true;
    facts.daemon_uptime = 86000;
    facts.store_readable = true;
    facts.enabled = true;
    facts.refusals_known = true;
    for (bool& on : facts.module_enabled) {
        on = true;
    }
    return facts;
}

std::string rejected(const std::string& document) {
    return "dashboard_document_rejected_values{document=\"" + document + "\"}";
}

std::string exposed(router_documents& documents, const router_facts& facts, exposition_format format) {
    static router_readings readings;
    text_buffer out;
    add_router(facts, documents.source(), format, readings, out);
    EXPECT_FALSE(out.failed);
    return std::string(out.view());
}

std::map<std::string, std::string> samples_of(const std::string& text) {
    std::map<std::string, std::string> samples;
    std::map<std::string, bool> types;
    std::string family;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 7, "# TYPE ") == 0) {
            family = line.substr(7, line.find(' ', 7) - 7);
            EXPECT_TRUE(types.emplace(family, true).second) << "a second " << line;
        } else if (line.compare(0, 2, "# ") != 0) {
            const size_t blank = line.rfind(' ');
            EXPECT_NE(blank, std::string::npos) << line;
            EXPECT_EQ(line.compare(0, family.size(), family), 0) << "not behind its TYPE: " << line;
            EXPECT_TRUE(samples.emplace(line.substr(0, blank), line.substr(blank + 1)).second) << "again: " << line;
        }
    }
    EXPECT_EQ(text.empty() ? '\n' : text.back(), '\n');
    return samples;
}

} // namespace dashboard::testing
