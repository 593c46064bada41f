#include "Mime/MimeStream.h"

#include <algorithm>
#include <cerrno>

#include "Foundation/SpoolFile.h"

namespace qs {

namespace {

struct FileStream {
    GMimeStream parent;
    std::shared_ptr<const MimeSource>* source;
    SpoolFile* spool;  // null: it can't be written to
};
struct FileStreamClass {
    GMimeStreamClass parent;
};

FileStream* self(GMimeStream* stream) { return reinterpret_cast<FileStream*>(stream); }

gint64 endOf(GMimeStream* stream) {
    const auto size = static_cast<gint64>((*self(stream)->source)->file->size());
    return stream->bound_end == -1 ? size : std::min(stream->bound_end, size);
}

GMimeStream* over(const std::shared_ptr<const MimeSource>& source, gint64 start, gint64 end);

ssize_t readStream(GMimeStream* stream, char* buffer, size_t size) {
    const gint64 left = endOf(stream) - stream->position;
    if (left <= 0) return 0;
    const MimeSource& source = **self(stream)->source;
    const auto length = source.file->readAt(static_cast<std::uint64_t>(stream->position), buffer,
                                            std::min(size, static_cast<size_t>(left)));
    if (!length) {
        source.isBroken = true;
        errno = EIO;
        return -1;
    }
    stream->position += static_cast<gint64>(*length);
    return static_cast<ssize_t>(*length);
}

ssize_t writeStream(GMimeStream* stream, const char* bytes, size_t size) {
    SpoolFile* const spool = self(stream)->spool;
    if (!spool || !spool->append({bytes, size})) {
        errno = spool ? EIO : EBADF;
        return -1;
    }
    stream->position += static_cast<gint64>(size);
    return static_cast<ssize_t>(size);
}

int nothing(GMimeStream*) { return 0; }

gboolean isAtEnd(GMimeStream* stream) { return stream->position >= endOf(stream); }

int toStart(GMimeStream* stream) {
    stream->position = stream->bound_start;
    return 0;
}

gint64 seek(GMimeStream* stream, gint64 offset, GMimeSeekWhence whence) {
    gint64 place = offset;
    if (whence == GMIME_STREAM_SEEK_CUR) place += stream->position;
    if (whence == GMIME_STREAM_SEEK_END) place += endOf(stream);
    if (place < stream->bound_start || place > endOf(stream)) {
        errno = EINVAL;
        return -1;
    }
    return stream->position = place;
}

gint64 tell(GMimeStream* stream) { return stream->position; }
gint64 length(GMimeStream* stream) { return endOf(stream) - stream->bound_start; }
GMimeStream* part(GMimeStream* stream, gint64 start, gint64 end) { return over(*self(stream)->source, start, end); }

void initClass(gpointer cls, gpointer) {
    auto* const stream = static_cast<GMimeStreamClass*>(cls);
    stream->read = readStream;
    stream->write = writeStream;
    stream->flush = nothing;
    stream->close = nothing;
    stream->eos = isAtEnd;
    stream->reset = toStart;
    stream->seek = seek;
    stream->tell = tell;
    stream->length = length;
    stream->substream = part;
    G_OBJECT_CLASS(cls)->finalize = [](GObject* object) {
        delete reinterpret_cast<FileStream*>(object)->source;
        G_OBJECT_CLASS(g_type_class_peek(GMIME_TYPE_STREAM))->finalize(object);
    };
}

GType streamType() {
    static const GType type =
        g_type_register_static_simple(GMIME_TYPE_STREAM, "QsFileStream", sizeof(FileStreamClass), initClass,
                                      sizeof(FileStream), nullptr, static_cast<GTypeFlags>(0));
    return type;
}

GMimeStream* over(const std::shared_ptr<const MimeSource>& source, gint64 start, gint64 end) {
    auto* const stream = static_cast<GMimeStream*>(g_object_new(streamType(), nullptr));
    self(stream)->source = new std::shared_ptr<const MimeSource>(source);
    g_mime_stream_construct(stream, start, end);
    return stream;
}

}  // namespace

GMimeStream* newMimeStream(SpoolFile& file) {
    const auto nothing = std::make_shared<MimeSource>();
    nothing->file = openText("");
    GMimeStream* const stream = over(nothing, 0, -1);
    self(stream)->spool = &file;
    return stream;
}

GMimeStream* newMimeStream(std::shared_ptr<const MimeSource> source) { return over(source, 0, -1); }

}  // namespace qs
