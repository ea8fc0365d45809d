#include "inspector/log/input.h"

#include "inspector/input/sources.h"

#include <sys/stat.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace inspector {
namespace {

/// The bytes of a file as they are.
class File : public Input {
public:
    explicit File(const std::string& name)
        : m_name(name == "-" ? "standard input" : name),
          m_descriptor(name == "-" ? dup(STDIN_FILENO)
                                   : open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
        struct stat status {};
        if (m_descriptor == -1 || fstat(m_descriptor, &status) == -1)
            fail();
    }
    ~File() override { close(m_descriptor); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::size_t read(char* target, std::size_t size) override {
        for (;;) {
            const ssize_t count = ::read(m_descriptor, target, size);
            if (count >= 0)
                return static_cast<std::size_t>(count);
            if (errno != EINTR)
                fail();
        }
    }

private:
    [[noreturn]] void fail() const { throw UnreadableInput(m_name + ": " + std::strerror(errno)); }

    std::string m_name;
    int m_descriptor;
};

/// Gives some bytes ahead of those of another input.
class PutBack : public Input {
public:
    PutBack(std::string_view bytes, std::unique_ptr<Input> rest)
        : m_bytes(bytes), m_rest(std::move(rest)) {}

    std::size_t read(char* target, std::size_t size) override {
        if (m_bytes.empty())
            return m_rest->read(target, size);
        const std::size_t count = m_bytes.copy(target, size);
        m_bytes.erase(0, count);
        return count;
    }

private:
    std::string m_bytes;
    std::unique_ptr<Input> m_rest;
};

constexpr const char* broken = "the compressed file is broken";
constexpr const char* endMissing = "the end of the compressed file is missing";

/// What is common to compressed inputs: they take from @p packed as they need it.
class Unpacker : public Input {
public:
    std::string damage() const override { return m_damage; }

protected:
    explicit Unpacker(std::unique_ptr<Input> packed)
        : m_packed(std::move(packed)), m_buffer(packedSize) {}

    /// The next packed bytes; none at their end.
    std::string_view take() {
        return {m_buffer.data(), m_packed->read(m_buffer.data(), m_buffer.size())};
    }
    void stop(std::string damage) { m_damage = std::move(damage); }
    bool isStopped() const { return !m_damage.empty(); }

private:
    static constexpr std::size_t packedSize = 65536;

    std::unique_ptr<Input> m_packed;
    std::vector<char> m_buffer;
    std::string m_damage;
};

class Gzip : public Unpacker {
public:
    explicit Gzip(std::unique_ptr<Input> packed) : Unpacker(std::move(packed)) {
        constexpr int gzipAlone = 16 + MAX_WBITS;
        if (inflateInit2(&m_stream, gzipAlone) != Z_OK)
            throw std::bad_alloc();
    }
    ~Gzip() override { inflateEnd(&m_stream); }
    Gzip(const Gzip&) = delete;
    Gzip& operator=(const Gzip&) = delete;

    std::size_t read(char* target, std::size_t size) override {
        m_stream.next_out = reinterpret_cast<Bytef*>(target);
        m_stream.avail_out = static_cast<uInt>(size);
        while (m_stream.avail_out == size && !isStopped()) {
            const bool isOver = m_stream.avail_in == 0 && !refill();
            if (isOver && m_isBetween)
                return 0;
            // Files can be joined, as by a rotation that appends.
            if (m_isBetween)
                inflateReset(&m_stream);
            const int result = inflate(&m_stream, Z_NO_FLUSH);
            m_isBetween = result == Z_STREAM_END;
            if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
                stop(broken);
            else if (isOver && m_stream.avail_out == size)
                stop(endMissing);
        }
        return size - m_stream.avail_out;
    }

private:
    bool refill() {
        const std::string_view packed = take();
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
        m_stream.avail_in = static_cast<uInt>(packed.size());
        return !packed.empty();
    }

    z_stream m_stream{};
    bool m_isBetween = false;
};

class Zstd : public Unpacker {
public:
    explicit Zstd(std::unique_ptr<Input> packed)
        : Unpacker(std::move(packed)), m_stream(ZSTD_createDStream()) {
        if (!m_stream)
            throw std::bad_alloc();
        // 32 MB, so that a file can't make it take any amount of memory.
        constexpr int largestWindow = 25;
        ZSTD_DCtx_setParameter(m_stream.get(), ZSTD_d_windowLogMax, largestWindow);
    }

    std::size_t read(char* target, std::size_t size) override {
        ZSTD_outBuffer out{target, size, 0};
        while (out.pos == 0 && !isStopped()) {
            const bool isOver = m_in.pos == m_in.size && !refill();
            if (isOver && m_left == 0)
                return 0;
            m_left = ZSTD_decompressStream(m_stream.get(), &out, &m_in);
            if (ZSTD_isError(m_left) != 0)
                stop(damageOf(m_left));
            else if (isOver && out.pos == 0)
                stop(endMissing);
        }
        return out.pos;
    }

private:
    struct Free {
        void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
    };

    static std::string damageOf(std::size_t error) {
        if (ZSTD_getErrorCode(error) == ZSTD_error_frameParameter_windowTooLarge)
            return "the file was compressed with a window above 32 MB: unpack it with zstd first";
        return std::string(broken) + ": " + ZSTD_getErrorName(error);
    }
    bool refill() {
        const std::string_view packed = take();
        m_in = {packed.data(), packed.size(), 0};
        return !packed.empty();
    }

    std::unique_ptr<ZSTD_DStream, Free> m_stream;
    ZSTD_inBuffer m_in{};
    /// What its frame still needs; 0 between two.
    std::size_t m_left = 0;
};

constexpr std::string_view gzipMagic = "\x1F\x8B";
constexpr std::string_view zstdMagic = "\x28\xB5\x2F\xFD";

} // namespace

std::unique_ptr<Input> openInput(const std::string& name) {
    return unpacked(std::make_unique<File>(name));
}

std::unique_ptr<Input> unpacked(std::unique_ptr<Input> file) {
    std::array<char, zstdMagic.size()> start{};
    std::size_t size = 0;
    while (size < start.size()) {
        const std::size_t count = file->read(start.data() + size, start.size() - size);
        if (count == 0)
            break;
        size += count;
    }
    const std::string_view magic(start.data(), size);
    file = std::make_unique<PutBack>(magic, std::move(file));
    if (magic.starts_with(gzipMagic))
        return std::make_unique<Gzip>(std::move(file));
    if (magic == zstdMagic)
        return std::make_unique<Zstd>(std::move(file));
    return file;
}

} // namespace inspector
