#pragma once

#include "vx/log.h"

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>

namespace orv {

// The names GET, POST and DELETE are those of the protocol.
enum class HttpMethod : int {
    GET = 0,
    POST = 1,
    DELETE = 2,
};

struct HttpRequest {
    /// In full, as "http://127.0.0.1:8088/path".
    std::string url;
    HttpMethod method = HttpMethod::GET;
    /// Value by name, besides those that libcurl sends itself.
    std::unordered_map<std::string, std::string> headers;
    /// The body of a POST; other methods send none. Sent up to its first NUL.
    std::string postData;
};

struct HttpResponse {
    /// HTTP status, or -1 if the transfer failed.
    int code = -1;
    /// As the text that `HttpClient::get` gives.
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

/// Body of one transfer, as libcurl hands it over piece by piece; zero-terminated as soon as
/// `appendCallback` has stored something.
class URLResult {
public:
    URLResult() = default;
    virtual ~URLResult();
    URLResult(const URLResult&) = delete;
    URLResult& operator=(const URLResult&) = delete;

    /// Frees the stored bytes, which leaves it as new.
    void reset();
    /// The stored bytes, or null if there are none.
    const char* content() const;
    /// Makes room for @p n more bytes and a terminator, and returns the address of the first new
    /// one. Writes nothing and leaves `size` to the caller. Null if there is no memory; the stored
    /// bytes can't be reached any more then.
    char* grow_tail(std::size_t n); // NOLINT(readability-identifier-naming): its callers know it so
    /// libcurl's write function for a `URLResult` as user data. Returns the number of bytes;
    /// without memory -1, which makes libcurl give up, and a notice on the channel "System".
    static std::size_t appendCallback(void* data, std::size_t size, std::size_t nmemb,
                                      void* userdata);

    char* memory = nullptr;
    /// Length without the terminator.
    std::size_t size = 0;
};

/// Synchronous HTTP client over libcurl. Requests return the HTTP status, whatever it is, or -1 if
/// the transfer failed, with one error line on the channel "HttpClient"; they never throw for it. A
/// request ends after 120 seconds at the latest. The proxy that the environment names, if any, is
/// used. A client may be used by one thread at a time.
///
///     orv::HttpClient client(false);
///     std::string body;
///     if (client.get("http://127.0.0.1:8088/api", &body, false) == 200)
///         use(body);
class HttpClient {
public:
    /// With @p reuseHandle the client keeps its connections across requests, and `getStats` tells
    /// of the last one.
    explicit HttpClient(bool reuseHandle);

    /// The body goes to @p result, cut at its first NUL; an empty body leaves it unchanged, and
    /// null means that the caller does not want it. A failed transfer leaves it unchanged. GET
    /// follows redirects, the other methods don't. @p insecure accepts any certificate.
    long get(const std::string& url, std::string* result, bool insecure);
    long get(const std::string& url, const std::unordered_map<std::string, std::string>& headers,
             std::string* result, bool insecure);
    /// As `get`. Sends @p postData, if there is any, as "application/x-www-form-urlencoded", unless
    /// the headers say otherwise.
    long post(const std::string& url, const std::string& postData, std::string* result);
    long post(const std::string& url, const std::unordered_map<std::string, std::string>& headers,
              const std::string& postData, std::string* result);
    /// Certificates are checked.
    long request(const HttpRequest& httpRequest, std::string* result);
    HttpResponse request(const HttpRequest& httpRequest);
    /// Gets @p url and writes the body to the file @p path, whatever the status. An existing file
    /// is emptied first, and a partly written one stays after a failure. Gives -1 without a line in
    /// the log if the file can't be opened. Follows no redirect and has no time limit; but on a
    /// kept handle the options of the last request stay in force.
    long downloadFile(const std::string& url, const std::string& path);
    /// Of the last transfer on the handle; all zero if no handle is kept.
    HttpStatistics getStats();

    /// libcurl's write function for a body that nobody wants.
    static std::size_t writeCallbackMute(void*, std::size_t size, std::size_t nmemb, void*);

    /// Channel "HttpClient", at info.
    static vx::LogChannel vxLogChannel;

private:
    struct CurlHandleDeleter {
        void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
    };

    long internalRequest(const std::string& url, HttpMethod method,
                         const std::unordered_map<std::string, std::string>& headers,
                         const std::string& postData, std::string* result, bool insecure);
    void resetOrMakeHandle();
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

/// What a component takes that makes requests, so that another client can be put in its place.
class SimpleHttpClient {
public:
    virtual ~SimpleHttpClient() = default;
    /// As `HttpClient::request`.
    virtual HttpResponse request(const HttpRequest& httpRequest) = 0;
};

/// Makes a new `HttpClient` for each request, so it keeps nothing between calls and any thread may
/// call it.
class SimpleHttpClientImpl : public SimpleHttpClient {
public:
    HttpResponse request(const HttpRequest& httpRequest) override;
};

std::unique_ptr<SimpleHttpClient> makeSimpleHttpClient();

} // namespace orv
