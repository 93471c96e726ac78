#include "tiles.h"

using namespace plcruntime;

Tile::Tile(Machine *machine, const QString &name, const QString &title, QWidget *parent)
    : QAbstractButton(parent), machine_(machine)
{
    setText(title);
    setAccessibleName(title);
    setFocusPolicy(Qt::NoFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    bind(name);
    connect(machine, &Machine::variableChanged, this, [this](const VariableState &state) {
        if (state.id == state_.id)
            refresh();
    });
    connect(machine, &Machine::orderEnded, this, &Tile::endOrder);
    connect(machine, &Machine::ticked, this, &Tile::refresh);
}

void Tile::bind(const QString &name)
{
    setObjectName(name); // which is what the tile shows
    order_ = 0;
    wanted_.clear();
    note_.clear();
    state_.id = machine_->line().findVariable(name);
    refresh();
}

// Asks anew, since no event tells that a value has merely grown older.
void Tile::refresh()
{
    state_ = machine_->line().value(state_.id);
    if (!isPending() && state_.readings > wantedUntil_)
        wanted_.clear();
    if (!note_.isEmpty() && noteAge_.hasExpired(kToldMs))
        note_.clear();
    const bool hasBoth = !shown().isEmpty() && !status().isEmpty();
    setAccessibleDescription(shown() + (hasBoth ? ", " : "") + status());
    update();
}

void Tile::write(const Value &value, const QString &shown)
{
    if (isPending())
        return; // whoever presses twice means the same
    note_.clear();
    wanted_ = shown;
    order_ = machine_->write(state_.id, value, shown); // refused at once it has called endOrder()
    refresh();
}

void Tile::endOrder(const OrderResult &result)
{
    if (result.variable != state_.id || result.order != order_ || wanted_.isEmpty())
        return;
    order_ = 0;
    wantedUntil_ = machine_->line().value(state_.id).readings;
    if (result.end != OrderEnd::Good) {
        wanted_.clear();
        note_ = textOf(result);
        noteAge_.start();
    }
    refresh();
}

// What is to be known beside the value; its words are in the order of Quality.
QString Tile::status() const
{
    if (isPending())
        return "writing …";
    if (!note_.isEmpty())
        return note_;
    if (isKnown())
        return wanted_.isEmpty() ? remark() : "written";
    static const QStringList kWords =
        QString("not read yet||old|refused (code %1)|no answer|bad answer|offline|switched off|no line")
            .split('|');
    const QString text = QString(kWords[static_cast<int>(state_.quality)])
                             .replace("%1", QString::number(state_.exceptionCode));
    const qint64 seconds = state_.ageMs / 1000;
    return state_.ageMs < 0 ? text
           : seconds < 120  ? QString("%1, %2 s").arg(text).arg(seconds)
                            : QString("%1, %2 min").arg(text).arg(seconds / 60);
}

// Slanted while it is only wanted, struck out when nobody can say what has become of it.
QFont Tile::valueFont(int pixels) const
{
    QFont font = look::font(pixels, true);
    font.setItalic(isPending());
    font.setStrikeOut(isGone() && hasValue());
    return font;
}

// A known value stands in a thin frame. A dashed frame says that it is doubtful or only wanted; hatched is
// what nobody can ask any more.
void Tile::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    constexpr int kStatusHeight = 20;
    const QRectF card = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
    const bool isPlain = isKnown() && !isPending();
    const bool isFilled = isSolid_ && isPlain;
    painter.setPen(isPlain ? QPen(look::kEdge, 1) : QPen(ink(), 2, Qt::DashLine));
    painter.setBrush(isFilled                       ? (isDown() ? look::kText : look::kAction)
                     : focusPolicy() == Qt::NoFocus ? look::kCard
                     : isDown()                     ? look::kEdge
                                                    : Qt::white);
    painter.drawRoundedRect(card, 6, 6);
    if (isGone()) {
        painter.setBrush(QBrush(look::kPage, Qt::BDiagPattern));
        painter.drawRoundedRect(card, 6, 6);
    }
    if (hasFocus()) {
        painter.setPen(QPen(isFilled ? look::kText : look::kAction, 3));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(card, 6, 6);
    }
    const QRect inside = rect().adjusted(9, 7, -5, -6);
    painter.setPen(isFilled ? Qt::white : look::kQuiet);
    painter.setFont(isSolid_ ? look::font(26, true) : look::font(15));
    painter.drawText(inside, Qt::AlignTop | Qt::AlignLeft, text());
    painter.setPen(isFilled ? Qt::white : ink());
    painter.setFont(valueFont(18));
    paintContent(&painter, inside.adjusted(0, 0, 0, -kStatusHeight));
    painter.setPen(isFilled ? Qt::white : look::kText);
    painter.setFont(look::font(14, true));
    // Where there is no room for the age, the words alone say what is the matter.
    const bool fits = painter.fontMetrics().horizontalAdvance(status()) <= inside.width();
    painter.drawText(inside, Qt::AlignBottom | Qt::AlignLeft, fits ? status() : status().section(',', 0, 0));
}
