#include "traces/contained_source.h"

#include <QDataStream>
#include <QIODevice>
#include <vector>

#include "platform/contained/contained_run.h"
#include "traces/record_body.h"

namespace kestrova {
namespace {

// A frame is a record or a note:
//   'R' the record's body (record_body.h)
//   'N' finding kind, what, why
constexpr char kRecord = 'R';
constexpr char kNote = 'N';

class FrameSink : public TraceSink {
public:
    explicit FrameSink(FrameWriter& out) : out_(out) {}
    bool record(const TraceKind&, const Provenance& from, std::span<const Value> values) override {
        frame_.assign(1, kRecord);
        appendRecordBody(frame_, from, values);
        return out_.write(QByteArrayView(frame_.data(), static_cast<qsizetype>(frame_.size())));
    }

private:
    FrameWriter& out_;
    std::string frame_;  // reused from record to record
};

}  // namespace

void runContainedSource(TraceContext& context, TraceSink& sink, const QString& what,
                        const std::function<void(TraceContext&, TraceSink&)>& body) {
    if (context.stopped()) return;
    std::vector<Value> values;
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
            if (context.stopped() || frame.isEmpty()) return;
            const char type = frame[0];
            if (type == kNote) {
                QDataStream s(frame.toByteArray());
                s.skipRawData(1);
                qint32 kind = 0;
                QString noteWhat, why;
                s >> kind >> noteWhat >> why;
                // A kind the program does not know (a child that went wrong) is a damage.
                const bool known = kind >= 0 && kind <= static_cast<qint32>(FindingKind::AsItLies);
                context.note(known ? static_cast<FindingKind>(kind) : FindingKind::Damaged, noteWhat, why);
                return;
            }
            if (type != kRecord || !context.kind) return;
            // Decoded where the frame lies (a damaged body gives absent values, never a read
            // outside it): the frame outlives the delivery.
            Provenance from;
            decodeRecordBody(std::string_view(frame.data() + 1, static_cast<size_t>(frame.size() - 1)), *context.kind, from, values);
            context.deliver(sink, from, values);
        });
    if (!end.completed) context.note(FindingKind::Damaged, what, QStringLiteral("its parser %1; what it read before is kept").arg(end.why));
}

}  // namespace kestrova
