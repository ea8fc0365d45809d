#include "http-client.h"

#include "base.h"
#include "logger.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace orv {
namespace {

using Headers = std::unordered_map<std::string, std::string>;

/// For a whole transfer; the connect has no limit of its own.
constexpr long timeoutSeconds = 120;

// These messages are built every time; LogChannel::log drops them if their severity doesn't pass.
void logDebug(std::string message) {
    HttpClient::vxLogChannel.log(vx::LogSeverity::debug, std::move(message));
}

void logReturnCode(long code) {
    logDebug("return code: " + intToString(code, false));
}

void logFailure(HttpMethod method, const std::string& url, const char* reason) {
    HttpClient::vxLogChannel.log(vx::LogSeverity::error,
                                 std::string("Request failed: ") +
                                     (method == HttpMethod::POST ? "POST " : "GET ") + url +
                                     ", Reason: " + reason);
}

} // namespace

URLResult::~URLResult() {
    reset();
}

void URLResult::reset() {
    if (size != 0)
        std::free(memory);
    memory = nullptr;
    size = 0;
}

const char* URLResult::content() const {
    return size == 0 ? nullptr : memory;
}

char* URLResult::grow_tail(std::size_t n) {
    memory = static_cast<char*>(std::realloc(memory, size + n + 1));
    return memory == nullptr ? nullptr : memory + size;
}

std::size_t URLResult::appendCallback(void* data, std::size_t size, std::size_t nmemb,
                                      void* userdata) {
    auto& body = *static_cast<URLResult*>(userdata);
    const std::size_t n = size * nmemb;
    char* tail = body.grow_tail(n);
    if (tail == nullptr) {
        Logger::log("URL::appendCallback: (realloc failed)\n", aLogSeverity::notice);
        return static_cast<std::size_t>(-1);
    }
    std::memcpy(tail, data, n);
    tail[n] = '\0';
    body.size += n;
    return n;
}

vx::LogChannel HttpClient::vxLogChannel("HttpClient", vx::LogSeverity::info);

HttpClient::HttpClient(bool aReuseHandle) : reuseHandle(aReuseHandle) {}

long HttpClient::get(const std::string& url, std::string* result, bool insecure) {
    return get(url, {}, result, insecure);
}

long HttpClient::get(const std::string& url, const Headers& headers, std::string* result,
                     bool insecure) {
    return internalRequest(url, HttpMethod::GET, headers, {}, result, insecure);
}

long HttpClient::post(const std::string& url, const std::string& postData, std::string* result) {
    return post(url, {}, postData, result);
}

long HttpClient::post(const std::string& url, const Headers& headers, const std::string& postData,
                      std::string* result) {
    return internalRequest(url, HttpMethod::POST, headers, postData, result, false);
}

long HttpClient::request(const HttpRequest& httpRequest, std::string* result) {
    return internalRequest(httpRequest.url, httpRequest.method, httpRequest.headers,
                           httpRequest.postData, result, false);
}

HttpResponse HttpClient::request(const HttpRequest& httpRequest) {
    HttpResponse response;
    response.code = static_cast<int>(request(httpRequest, &response.content));
    return response;
}

long HttpClient::internalRequest(const std::string& url, HttpMethod method, const Headers& headers,
                                 const std::string& postData, std::string* result, bool insecure) {
    URLResult body;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    long code = -1;
    resetOrMakeHandle();
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    setVerification(insecure);
    curl_slist* headerList = setHeaders(headers);
    setMethod(method, postData);
    setBodyTarget(result == nullptr ? nullptr : &body);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, timeoutSeconds);
    curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(handle.get(), CURLOPT_TCP_KEEPALIVE, 1L);
    logDebug("perform: " + std::string(method == HttpMethod::POST ? "POST " : " ") + url +
             " postData:" + postData);
    if (curl_easy_perform(handle.get()) == CURLE_OK) {
        // Up to the first NUL byte.
        if (body.content() != nullptr)
            *result = body.content();
        curl_slist_free_all(headerList);
        // A kept handle must not reach the freed list any more.
        curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, nullptr);
        code = responseCode();
    } else {
        // The header list is not freed here, a few bytes per failed request with headers, and stays
        // in force for a download on a kept handle.
        logFailure(method, url, errorBuffer);
    }
    releaseHandle();
    return code;
}

long HttpClient::downloadFile(const std::string& url, const std::string& path) {
    char errorBuffer[CURL_ERROR_SIZE] = {};
    long code = -1;
    if (!handle)
        makeHandle();
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, errorBuffer);
    if (std::FILE* file = std::fopen(path.c_str(), "w")) {
        // Without a function libcurl writes to the file itself. That of an earlier request on this
        // handle would take the file for a URLResult.
        curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, nullptr);
        curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, file);
        logDebug("download : " + url);
        if (curl_easy_perform(handle.get()) == CURLE_OK)
            code = responseCode();
        else
            logFailure(HttpMethod::GET, url, errorBuffer);
        std::fclose(file);
    }
    releaseHandle();
    return code;
}

void HttpClient::resetOrMakeHandle() {
    if (handle) {
        logDebug("reuse handle");
        curl_easy_reset(handle.get());
    } else {
        logDebug("create new handle");
        makeHandle();
    }
}

void HttpClient::makeHandle() {
    handle.reset(curl_easy_init());
}

void HttpClient::setVerification(bool insecure) {
    const long verify = insecure ? 0 : 1;
    curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYPEER, verify);
    curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYHOST, verify);
}

curl_slist* HttpClient::setHeaders(const Headers& headers) {
    curl_slist* list = nullptr;
    for (const auto& [name, value] : headers)
        list = curl_slist_append(list, vx::str(name, ": ", value).c_str());
    if (list != nullptr)
        curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, list);
    return list;
}

void HttpClient::setMethod(HttpMethod method, const std::string& postData) {
    switch (method) {
    case HttpMethod::POST:
        curl_easy_setopt(handle.get(), CURLOPT_POST, 1L);
        if (postData.empty()) {
            // Sends an empty form. The option's successor would send another content type.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
            curl_easy_setopt(handle.get(), CURLOPT_HTTPPOST, nullptr);
#pragma GCC diagnostic pop
        } else {
            curl_easy_setopt(handle.get(), CURLOPT_COPYPOSTFIELDS, postData.c_str());
        }
        break;
    case HttpMethod::DELETE:
        curl_easy_setopt(handle.get(), CURLOPT_CUSTOMREQUEST, "DELETE");
        break;
    case HttpMethod::GET:
        curl_easy_setopt(handle.get(), CURLOPT_HTTPGET, 1L);
        curl_easy_setopt(handle.get(), CURLOPT_FOLLOWLOCATION, 1L);
        break;
    }
}

void HttpClient::setBodyTarget(URLResult* body) {
    if (body == nullptr) {
        curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, writeCallbackMute);
        return;
    }
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, URLResult::appendCallback);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, body);
}

long HttpClient::responseCode() {
    long code = -1;
    curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &code);
    logReturnCode(code);
    return code;
}

void HttpClient::releaseHandle() {
    if (!reuseHandle) {
        handle.reset();
        return;
    }
    // The error buffer ends with the transfer; a kept handle must not reach it any more.
    curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, nullptr);
}

HttpStatistics HttpClient::getStats() {
    HttpStatistics stats;
    if (!handle)
        return stats;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // The figures are wanted as floating-point numbers, which only these deprecated options give.
    curl_easy_getinfo(handle.get(), CURLINFO_TOTAL_TIME, &stats.totalTime);
    curl_easy_getinfo(handle.get(), CURLINFO_SIZE_UPLOAD, &stats.sizeUpload);
    curl_easy_getinfo(handle.get(), CURLINFO_SIZE_DOWNLOAD, &stats.sizeDownload);
    curl_easy_getinfo(handle.get(), CURLINFO_SPEED_UPLOAD, &stats.speedUpload);
    curl_easy_getinfo(handle.get(), CURLINFO_SPEED_DOWNLOAD, &stats.speedDownload);
#pragma GCC diagnostic pop
    return stats;
}

std::size_t HttpClient::writeCallbackMute(void*, std::size_t size, std::size_t nmemb, void*) {
    return size * nmemb;
}

HttpResponse SimpleHttpClientImpl::request(const HttpRequest& httpRequest) {
    return HttpClient(false).request(httpRequest);
}

std::unique_ptr<SimpleHttpClient> makeSimpleHttpClient() {
    return std::make_unique<SimpleHttpClientImpl>();
}

} // namespace orv
