#pragma once

#include "vx/log.h"

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>

namespace orv {

enum class HttpMethod : int {
    GET = 0,
    POST = 1,
    DELETE = 2,
};

struct HttpRequest {
    std::string url;
    HttpMethod method = HttpMethod::GET;
    std::unordered_map<std::string, std::string> headers;
    std::string postData;
};

struct HttpResponse {
    /// HTTP status, or -1 if the transfer failed.
    int code = -1;
    std::string content;
};

/// Times in seconds, sizes in bytes, speeds in bytes per second.
struct HttpStatistics {
    double totalTime = 0.0;
    double sizeUpload = 0.0;
    double sizeDownload = 0.0;
    double speedUpload = 0.0;
    double speedDownload = 0.0;
};

/// Body of one transfer, always zero-terminated once something has been stored.
class URLResult {
public:
    URLResult() = default;
    virtual ~URLResult();
    URLResult(const URLResult&) = delete;
    URLResult& operator=(const URLResult&) = delete;

    void reset();
    /// The stored bytes, or null if there are none.
    const char* content() const;
    /// Makes room for @p n more bytes and a terminator, and returns the address of the first new
    /// one; null if there is no memory.
    char* grow_tail(std::size_t n); // NOLINT(readability-identifier-naming): older code calls it so
    /// libcurl's write function for a `URLResult` as user data.
    static std::size_t appendCallback(void* data, std::size_t size, std::size_t nmemb,
                                      void* userdata);

    char* memory = nullptr;
    /// Length without the terminator.
    std::size_t size = 0;
};

/// Synchronous HTTP client over libcurl. Requests return the HTTP status, or -1 if the transfer
/// failed; they never throw for it. A client may be used by one thread at a time.
class HttpClient {
public:
    /// With @p reuseHandle the client keeps its connections across requests.
    explicit HttpClient(bool reuseHandle);

    /// The body goes to @p result, cut at its first NUL; an empty body leaves it unchanged, and
    /// null means that the caller does not want it. GET follows redirects.
    long get(const std::string& url, std::string* result, bool insecure);
    long get(const std::string& url, const std::unordered_map<std::string, std::string>& headers,
             std::string* result, bool insecure);
    long post(const std::string& url, const std::string& postData, std::string* result);
    long post(const std::string& url, const std::unordered_map<std::string, std::string>& headers,
              const std::string& postData, std::string* result);
    long request(const HttpRequest& httpRequest, std::string* result);
    HttpResponse request(const HttpRequest& httpRequest);
    /// Writes the body to the file @p path. A partly written file stays after a failure.
    long downloadFile(const std::string& url, const std::string& path);
    /// Of the last transfer on the handle; all zero if no handle is kept.
    HttpStatistics getStats();

    /// libcurl's write function for a body that nobody wants.
    static std::size_t writeCallbackMute(void*, std::size_t size, std::size_t nmemb, void*);

    static vx::LogChannel vxLogChannel;

private:
    struct CurlHandleDeleter {
        void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
    };

    long internalRequest(const std::string& url, HttpMethod method,
                         const std::unordered_map<std::string, std::string>& headers,
                         const std::string& postData, std::string* result, bool insecure);
    void makeHandle();
    void setVerification(bool insecure);
    curl_slist* setHeaders(const std::unordered_map<std::string, std::string>& headers);
    void setMethod(HttpMethod method, const std::string& postData);
    void setBodyTarget(URLResult* body);
    long responseCode();
    void releaseHandle();

    bool reuseHandle;
    std::unique_ptr<CURL, CurlHandleDeleter> handle;
};

/// A client that can be swapped.
class SimpleHttpClient {
public:
    virtual ~SimpleHttpClient() = default;
    virtual HttpResponse request(const HttpRequest& httpRequest) = 0;
};

/// Makes a new `HttpClient` for each request, so it keeps nothing between calls.
class SimpleHttpClientImpl : public SimpleHttpClient {
public:
    HttpResponse request(const HttpRequest& httpRequest) override;
};

std::unique_ptr<SimpleHttpClient> makeSimpleHttpClient();

} // namespace orv
