// Wi-Fi traffic of the 2.4 GHz band. Its total is what was sent plus what was received.

#include "monitors/monitors.h"
#include "monitors/wifi_traffic.h"

namespace dashboard {

namespace {

void add_totals(wifi_sample& sample, const netdev_entry& entry) {
    sample.total_a += entry.tx_bytes;
    sample.total_b += entry.rx_bytes;
}

void elements(metric_document& document, const wifi_sample& sample) {
    document_printf(document, "    <wifi_24_txrx>%llu</wifi_24_txrx>\n", sample.total_a + sample.total_b);
    for (int v = 1; v <= vap_slots; ++v) {
        document_printf(document, "    <VAP%d_24_Tx>%llu</VAP%d_24_Tx>\n", v, sample.vap.tx[v - 1], v);
        document_printf(document, "    <VAP%d_24_Rx>%llu</VAP%d_24_Rx>\n", v, sample.vap.rx[v - 1], v);
        document_printf(document, "    <VAP%d_24_TxRx>%llu</VAP%d_24_TxRx>\n", v, sample.vap.txrx[v - 1], v);
    }
}

constexpr monitor_description about = {
    "dashboard_wifi_24g",
    "wifi_traffic_init",
    "wifi_traffic_loop",
    xml_span{72},
    start_marker{6},
    {
        {"xml_wifi_traffic_sec", "/tmp/dashboard/wifi_24g_traffic_sec_0_tmp.xml",
         "/tmp/dashboard/wifi_24g_traffic_sec_0.xml", "/usr/www/wifi_24g_traffic_sec_0.xml"},
        {"xml_wifi_traffic_min", "/tmp/dashboard/wifi_24g_traffic_min_0_tmp.xml",
         "/tmp/dashboard/wifi_24g_traffic_min_0.xml", "/usr/www/wifi_24g_traffic_min_0.xml"},
        {"xml_wifi_traffic_hour", "/tmp/dashboard/wifi_24g_traffic_hour_0_tmp.xml",
         "/tmp/dashboard/wifi_24g_traffic_hour_0.xml", "/usr/www/wifi_24g_traffic_hour_0.xml"},
    },
    "/usr/www/wifi_24g_traffic*",
    "/tmp/dashboard/wifi_24g_traffic*",
};

constexpr wifi_band band = {
    about,
    {
        about.source,
        wifi_export_header,
        fewest_samples{2},
        {
            {"data_export_wifi_traffic_sec", "/tmp/dashboard/wifi_24g_traffic_sec_0_tmp",
             "/tmp/dashboard/wifi_24g_traffic_sec_0", "/usr/www/wifi_24g_traffic_sec_0"},
            {"data_export_wifi_traffic_min", "/tmp/dashboard/wifi_24g_traffic_min_0_tmp",
             "/tmp/dashboard/wifi_24g_traffic_min_0", "/usr/www/wifi_24g_traffic_min_0"},
            {"data_export_wifi_traffic_hour", "/tmp/dashboard/wifi_24g_traffic_hour_0_tmp",
             "/tmp/dashboard/wifi_24g_traffic_hour_0", "/usr/www/wifi_24g_traffic_hour_0"},
        },
    },
    main_interface_csid{0x8000f391},
    add_totals,
    elements,
};

} // namespace

extern constexpr monitor_cb wifi_24g_traffic_monitor = wifi_traffic<band>::monitor;

} // namespace dashboard
