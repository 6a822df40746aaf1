#include "vantorcore/web/LXRostrel.h"

#include <fstream>
#include <iterator>

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/PercentEncoding.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/UserDefaults.h"
#include "vantorcore/web/LXWebServer.h"

namespace lx {

LX_DEFINE_CLASS(LXRostrel, Object)

namespace {

// What a formatted absent value reads as.
constexpr StringView kAbsent = u"(null)";

std::optional<String> infoString(StringView key) {
  const auto value = Bundle::main().objectForInfoDictionaryKey(key);
  if (value && value->isString()) return value->asString()->str();
  return std::nullopt;
}

// The machine's model name as the firmware gives it: DMI on PCs, the device
// tree on boards; absent when neither says.
std::optional<String> hardwareModel() {
  for (const char* path : {"/sys/class/dmi/id/product_name", "/proc/device-tree/model"}) {
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    while (!text.empty() && (text.back() == '\n' || text.back() == '\0' || text.back() == ' ')) {
      text.pop_back();
    }
    if (text.empty()) continue;
    for (char& c : text) {
      if (static_cast<unsigned char>(c) >= 0x80) c = '?';  // read as ASCII
    }
    return fromUTF8(text);
  }
  return std::nullopt;
}

String queryEncoded(const std::optional<String>& value) {
  if (!value) return String(kAbsent);
  return stringByAddingPercentEncoding(*value, kURLQueryAllowedCharacterSet)
      .value_or(String(kAbsent));
}

}  // namespace

std::optional<URL> LXRostrel::applicationRostrelURL() {
  const auto os = ProcessInfo::operatingSystemVersion();
  const String system =
      stringWithFormat(u"%d.%d.%d", static_cast<int>(os.majorVersion),
                       static_cast<int>(os.minorVersion), static_cast<int>(os.patchVersion));
  const String text =
      stringWithFormat(u"%@/updates/rostrel.php?app=%@&appver=%@&appbuild=%@&os=%@&model=%@&mas=%d",
                       LXWebServerBaseAddress(), queryEncoded(infoString(u"CFBundleName")),
                       queryEncoded(infoString(u"CFBundleShortVersionString")),
                       queryEncoded(infoString(u"CFBundleVersion")), queryEncoded(system),
                       queryEncoded(hardwareModel()), 1);
  return URL::URLWithString(text);
}

std::optional<URL> LXRostrel::appendingParameters(const std::optional<URL>& url,
                                                  const std::optional<Dictionary>& parameters) {
  if (!url) return std::nullopt;
  String text = url->absoluteString();
  if (parameters) {
    for (const auto& [key, value] : *parameters) {
      // Keys of our dictionaries are always strings; only values can be wrong.
      if (!value.isString()) LXConditionFailed(u"param must be a string");
      const String valueText = value.isString() ? value.asString()->str() : value.description();
      text += stringWithFormat(u"&%@=%@", queryEncoded(key.str()), queryEncoded(valueText));
    }
  }
  return URL::URLWithString(text);
}

std::shared_ptr<LXRostrel> LXRostrel::startRostrelRequestWithCompletionHandler(
    CompletionHandler completionHandler) {
  return startRostrelRequestWithParameters<LXRostrel>(std::nullopt, std::move(completionHandler));
}

void LXRostrel::startRequest(const std::optional<URL>& url) {
  std::weak_ptr<LXRemoteRequestDelegate> delegate =
      std::static_pointer_cast<LXRostrel>(shared_from_this());
  auto request = LXRemoteRequest::initWithURL(url, delegate);
  std::lock_guard lock(mutex_);
  request_ = std::move(request);
}

std::shared_ptr<LXRemoteRequest> LXRostrel::request() const {
  std::lock_guard lock(mutex_);
  return request_;
}

LXRostrel::CompletionHandler LXRostrel::completionHandler() const {
  std::lock_guard lock(mutex_);
  return completionHandler_;
}

void LXRostrel::setCompletionHandler(CompletionHandler handler) {
  std::lock_guard lock(mutex_);
  completionHandler_ = std::move(handler);
}

std::optional<Dictionary> LXRostrel::jsonResponse() const {
  std::lock_guard lock(mutex_);
  return jsonResponse_;
}

std::optional<String> LXRostrel::stringField(StringView key) const {
  std::lock_guard lock(mutex_);
  if (!jsonResponse_) return std::nullopt;
  const Value* value = jsonResponse_->find(key);
  if (!value || !value->isString()) return std::nullopt;
  return value->asString()->str();
}

std::optional<URL> LXRostrel::responseURL() const {
  const auto text = stringField(u"URL");
  return text ? URL::URLWithString(*text) : std::nullopt;
}

std::optional<String> LXRostrel::responseID() const { return stringField(u"ID"); }

std::optional<String> LXRostrel::responseAction() const { return stringField(u"action"); }

std::optional<String> LXRostrel::buttonCaption() const { return stringField(u"buttonCaption"); }

std::optional<URL> LXRostrel::buttonURL() const {
  const auto text = stringField(u"buttonURL");
  return text ? URL::URLWithString(*text) : std::nullopt;
}

void LXRostrel::remoteRequestDidFinishWithError(LXRemoteRequest& request, ErrorPtr error) {
  const auto json = request.jsonResponse();
  {
    std::lock_guard lock(mutex_);
    jsonResponse_ =
        json && json->isDictionary() ? std::optional(*json->asDictionary()) : std::nullopt;
  }
  if (!error) {
    const auto identifier = responseID();
    if (identifier && !identifier->empty()) {
      const auto defaults = UserDefaults::standardUserDefaults();
      if (defaults->stringForKey(LXRostrelDisplayedIDKey) == identifier) {
        error = Error::make(String(LXErrorDomain), LXRostrelErrorAlreadyShown);
      }
      defaults->setObject(Value(*identifier), LXRostrelDisplayedIDKey);
    }
  }
  if (!error) {
    const auto url = responseURL();
    if (!url || url->absoluteString().empty()) {
      error = Error::make(String(LXErrorDomain), LXRostrelErrorNothingToShow);
    }
  }
  if (const auto handler = completionHandler()) {
    handler(std::static_pointer_cast<LXRostrel>(shared_from_this()), error);
  }
  // The handler runs once; a handler that keeps the object it was given
  // would otherwise keep itself alive through it.
  std::lock_guard lock(mutex_);
  request_.reset();
  completionHandler_ = nullptr;
}

}  // namespace lx
