#include "platform/qb_request_processor.h"

namespace platform {

namespace {

std::function<std::unique_ptr<QbRequestProcessor>()>& factory() {
    static std::function<std::unique_ptr<QbRequestProcessor>()> override;
    return override;
}

} // namespace

std::unique_ptr<QbRequestProcessor> systemQbRequestProcessor();

std::unique_ptr<QbRequestProcessor> createQbRequestProcessor() {
    if (factory())
        return factory()();
    return systemQbRequestProcessor();
}

void setQbRequestProcessorFactory(std::function<std::unique_ptr<QbRequestProcessor>()> make) {
    factory() = std::move(make);
}

} // namespace platform
