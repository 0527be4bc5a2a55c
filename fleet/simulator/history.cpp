#include "fleet/simulator/history.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace dashboard {

namespace {

std::string labels_of(const simulated_router& router) {
    const router_identity& identity = router.identity();
    return R"(job="dashboard",instance=")" + identity.name + R"(",site=")" + identity.site + R"(",model=")" +
           model_name(identity.model) + R"(",firmware=")" + identity.firmware + '"';
}

/// Appends one line of the text format with more labels and a time.
void append_sample(const std::string& line, const std::string& labels, const std::string& time, std::string& out) {
    const size_t value = line.rfind(' ');
    const size_t brace = line.find('{');
    if (brace == std::string::npos) {
        out.append(line, 0, value).append("{").append(labels).append("}");
    } else {
        out.append(line, 0, brace + 1).append(labels).append(",").append(line, brace + 1, value - brace - 1);
    }
    out.append(line, value, std::string::npos).append(" ").append(time).append("\n");
}

/// Of a text of metrics, the samples without their comments.
void append_samples(const std::string& text, const std::string& labels, const std::string& time, std::string& out) {
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = text.find('\n', begin);
        if (text[begin] != '#') {
            append_sample(text.substr(begin, end - begin), labels, time, out);
        }
        begin = end + 1;
    }
}

/// A server spreads its scrapes over the interval.
int64_t offset_of(const simulated_router& router, int64_t step) {
    return static_cast<int64_t>(lot(static_cast<uint64_t>(router.index()), 2001) % static_cast<uint64_t>(step));
}

/// What a server keeps of a scrape, its own readings included. The time of one that is not slow is as good as none.
void append_scrape(const fleet& routers, const simulated_router& router, int64_t t, std::string& out) {
    if (!router.in_inventory(t)) {
        return;
    }
    std::string metrics;
    if (router.answers(t)) {
        routers.append_metrics(router, t, exposition_format::prometheus, metrics);
    }
    metrics += router.answers(t) ? "up 1\n" : "up 0\n";
    metrics += "scrape_duration_seconds " + std::to_string(router.answer_time(t)) + "\n";
    append_samples(metrics, labels_of(router), std::to_string(routers.epoch() + t), out);
}

void append_true_bytes(const fleet& routers, const simulated_router& router, int64_t t, std::string& out) {
    std::string truth;
    routers.append_truth(router, t, truth);
    append_samples(truth, labels_of(router), std::to_string(routers.epoch() + t), out);
}

} // namespace

bool write_history(const fleet& routers, const history_span& span, FILE* out) {
    std::string samples;
    for (int64_t turn = 0; turn <= span.length; turn += span.step) {
        samples.clear();
        for (const simulated_router& router : routers.routers()) {
            append_scrape(routers, router, turn + offset_of(router, span.step), samples);
            for (int64_t t = turn; t < turn + span.step; t += span.truth_step) {
                append_true_bytes(routers, router, t, samples);
            }
        }
        if (fwrite(samples.data(), 1, samples.size(), out) != samples.size()) {
            return false;
        }
    }
    return fputs("# EOF\n", out) >= 0 && fflush(out) == 0;
}

} // namespace dashboard
