#include "gateway/web/Metrics.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

namespace gateway
{

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

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
    families.push_back({"plug_gateway_question_seconds",
                        "from a question to its answer",
                        MetricType::Histogram,
                        {counters.questions.Collect()}});
    return prometheus::TextSerializer().Serialize(families);
}

} // namespace gateway
