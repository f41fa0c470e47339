#include "traces/contained_source.h"

#include <QDataStream>
#include <QIODevice>
#include <vector>

#include "platform/contained/contained_run.h"

namespace kestrova {
namespace {

// A frame is a record or a note:
//   'R' provenance (five byte arrays), the number of values, then each value: kind, number, bytes
//   'N' finding kind, what, why
constexpr char kRecord = 'R';
constexpr char kNote = 'N';

class FrameSink : public TraceSink {
public:
    explicit FrameSink(FrameWriter& out) : out_(out) {}
    bool record(const TraceKind&, const Provenance& from, std::span<const Value> values) override {
        QByteArray frame;
        QDataStream s(&frame, QIODevice::WriteOnly);
        s << qint8(kRecord) << from.user << from.browser << from.profile << from.source << from.part << quint32(values.size());
        for (const Value& v : values) {
            s << quint8(v.is) << qint64(v.number);
            s.writeBytes(v.utf8.data(), static_cast<uint>(v.utf8.size()));
        }
        return out_.write(frame);
    }

private:
    FrameWriter& out_;
};

}  // namespace

void runContainedSource(TraceContext& context, TraceSink& sink, const QString& what,
                        const std::function<void(TraceContext&, TraceSink&)>& body) {
    if (context.stopped()) return;
    const ContainedEnd end = runContained(
        [&](FrameWriter& out) {
            context.setNoteHook([&out](FindingKind kind, const QString& noteWhat, const QString& why) {
                QByteArray frame;
                QDataStream s(&frame, QIODevice::WriteOnly);
                s << qint8(kNote) << qint32(kind) << noteWhat << why;
                out.write(frame);
            });
            FrameSink frames(out);
            body(context, frames);
            context.reportHiveLosses();  // the child's walks: their losses travel home as notes
            return 0;
        },
        [&](QByteArrayView frame) {
            if (context.stopped()) return;
            QDataStream s(frame.toByteArray());
            qint8 type = 0;
            s >> type;
            if (type == kNote) {
                qint32 kind = 0;
                QString noteWhat, why;
                s >> kind >> noteWhat >> why;
                // A kind the program does not know (a child that went wrong) is a damage.
                const bool known = kind >= 0 && kind <= static_cast<qint32>(FindingKind::Cleared);
                context.note(known ? static_cast<FindingKind>(kind) : FindingKind::Damaged, noteWhat, why);
                return;
            }
            Provenance from;
            quint32 count = 0;
            s >> from.user >> from.browser >> from.profile >> from.source >> from.part >> count;
            if (!context.kind || count != context.kind->fields.size()) return;
            std::vector<QByteArray> texts(count);
            std::vector<Value> values(count);
            for (quint32 i = 0; i < count && s.status() == QDataStream::Ok; ++i) {
                quint8 is = 0;
                qint64 number = 0;
                s >> is >> number >> texts[i];
                values[i].is = static_cast<Value::Is>(is <= 2 ? is : 0);
                values[i].number = number;
                if (values[i].is == Value::Is::Text) values[i].utf8 = std::string_view(texts[i].constData(), static_cast<size_t>(texts[i].size()));
            }
            if (s.status() == QDataStream::Ok) context.deliver(sink, from, values);
        });
    if (!end.completed) context.note(FindingKind::Damaged, what, QStringLiteral("its parser %1; what it read before is kept").arg(end.why));
}

}  // namespace kestrova
