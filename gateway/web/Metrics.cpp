#include "gateway/web/Metrics.h"

#include <algorithm>
#include <limits>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

namespace gateway
{

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

void Latencies::Observe(int64_t us)
{
    const auto bound = std::lower_bound(kBoundsUs.begin(), kBoundsUs.end(), us);
    counts_[static_cast<size_t>(bound - kBoundsUs.begin())].Add();
    sumUs_.Add(us);
}

static MetricFamily HistogramOf(const Latencies &latencies)
{
    const double second = 1e6;
    ClientMetric metric;
    uint64_t count = 0;
    for (size_t i = 0; i <= Latencies::kBoundsUs.size(); i++) {
        count += static_cast<uint64_t>(latencies.Count(i));
        const bool last = i == Latencies::kBoundsUs.size();
        metric.histogram.bucket.push_back({count, last ? std::numeric_limits<double>::infinity()
                                                       : static_cast<double>(Latencies::kBoundsUs[i]) / second});
    }
    metric.histogram.sample_count = count;
    metric.histogram.sample_sum = static_cast<double>(latencies.SumUs()) / second;
    return {"plug_gateway_question_seconds", "from a question to its answer", MetricType::Histogram, {metric}};
}

static void AddFigure(std::vector<MetricFamily> *families, MetricType type, const std::string &name,
                      const std::string &label, const std::string &value, const std::string &help, const Figure &figure)
{
    if (families->empty() || families->back().name != name) families->push_back({name, help, type, {}});
    ClientMetric metric;
    if (!label.empty()) metric.label.push_back({label, value});
    const double number = static_cast<double>(figure.Get());
    if (type == MetricType::Counter)
        metric.counter.value = number;
    else
        metric.gauge.value = number;
    families->back().metric.push_back(metric);
}

std::string MetricsText(const Counters &counters)
{
    std::vector<MetricFamily> families;
#define GATEWAY_ADD(member, kind, metric, label, value, help)                                                          \
    AddFigure(&families, MetricType::kind, metric, label, value, help, counters.member);
    GATEWAY_FIGURES(GATEWAY_ADD)
#undef GATEWAY_ADD
    families.push_back(HistogramOf(counters.questions));
    return prometheus::TextSerializer().Serialize(families);
}

} // namespace gateway
