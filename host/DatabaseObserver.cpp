#include "DatabaseObserver.h"

namespace tal::host {

void DatabaseObserver::OnLookUp(std::string_view /*path*/, const Variable* /*found*/) noexcept {}

void DatabaseObserver::OnContentAddress(const Variable& /*variable*/) noexcept {}

void DatabaseObserver::OnMark(const Variable& /*variable*/, bool /*retrieved*/) noexcept {}

void DatabaseObserver::OnDefaulting() noexcept {}

}  // namespace tal::host
