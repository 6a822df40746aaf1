#include "vantorcore/platform/URLSessionDelegate.h"

namespace lx {

void URLSessionDelegate::willPerformHTTPRedirection(const std::shared_ptr<URLSession>&,
                                                    const std::shared_ptr<URLSessionTask>&,
                                                    const HTTPURLResponse&, URLRequest request,
                                                    RedirectionHandler handler) {
  handler(std::move(request));
}

}  // namespace lx
