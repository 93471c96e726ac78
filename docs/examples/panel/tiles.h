// What stands on the pages: tiles that show a variable and how far it can be trusted, and tiles that write.
#ifndef PANEL_TILES_H
#define PANEL_TILES_H

#include "machine.h"

#include <QAbstractButton>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QRegularExpressionValidator>

using plcruntime::Quality;

// Colours are few: what is well is grey, and no colour is the only sign of anything.
namespace look {

inline const QColor kPage("#dfe3e6"), kCard("#f6f7f8"), kEdge("#b9c0c6"), kText("#1b2228"), kQuiet("#59636c"),
    kAction("#24527a"), kAlarm("#b3261e"), kGood("#2f7d43"), kCaution("#d9a400");

inline QFont font(int pixels, bool isBold = false)
{
    QFont font("Inter");
    font.setPixelSize(pixels);
    font.setBold(isBold);
    return font;
}

} // namespace look

// A card with a title, a content and a line that says what is the matter. Its object is named after the
// variable, and its accessible description is what it shows. Only a tile that can be pressed takes the focus.
class Tile : public QAbstractButton
{
    Q_OBJECT
public:
    // Shows this variable from now on.
    void bind(const QString &name);
    void refresh();

protected:
    Tile(Machine *machine, const QString &name, const QString &title, QWidget *parent);
    virtual QString textOfValue() const { return QString::number(number(), 'f', meaning().decimals); }
    virtual QString remark() const { return QString(); } // what a trustworthy value itself has to say
    virtual void paintContent(QPainter *painter, const QRect &area) = 0;

    void write(const plcruntime::Value &value, const QString &shown);
    const Meaning &meaning() const { return meaningOf(objectName()); }
    bool hasValue() const { return !state_.values.isEmpty(); }
    double number() const { return hasValue() ? state_.values.first().toDouble() : 0; }
    bool is(Quality quality) const { return state_.quality == quality; }
    bool isKnown() const { return is(Quality::Good); }
    bool isGone() const { return wanted_.isEmpty() && (is(Quality::Offline) || is(Quality::PortLost)); }
    bool isPending() const { return order_ != 0; }
    QString shown() const { return !wanted_.isEmpty() ? wanted_ : hasValue() ? textOfValue() : "– – –"; }
    QString status() const;
    QColor ink() const { return !wanted_.isEmpty() ? look::kAction : isKnown() ? look::kText : look::kQuiet; }
    QFont valueFont(int pixels) const;

    void paintEvent(QPaintEvent *event) override;

    bool isSolid_ = false; // has the colour of action while all is well

private:
    void endOrder(const plcruntime::OrderResult &result);

    Machine *machine_;
    plcruntime::VariableState state_;
    plcruntime::OrderId order_ = 0;
    QString wanted_;          // what was ordered, until a reading has shown what became of it
    quint64 wantedUntil_ = 0; // readings, when the order had ended
    QString note_;            // how the last order failed
    QElapsedTimer noteAge_;
};

// A number with its unit, over a bar with the normal range.
class Gauge : public Tile
{
public:
    Gauge(Machine *machine, const QString &name, QWidget *parent)
        : Tile(machine, name, meaningOf(name).title, parent)
    {}

protected:
    QString remark() const override
    {
        return number() < meaning().normalLow ? "▼ low" : number() > meaning().normalHigh ? "▲ high" : "";
    }
    void paintNumber(QPainter *painter, const QPoint &base, int pixels)
    {
        painter->setFont(valueFont(pixels));
        painter->drawText(base, shown());
        const int width = painter->fontMetrics().horizontalAdvance(shown());
        painter->setPen(look::kQuiet);
        painter->setFont(look::font(16));
        painter->drawText(base + QPoint(width + 6, 0), meaning().unit);
    }
    void paintContent(QPainter *painter, const QRect &area) override
    {
        const QRect bar(area.left(), area.bottom() - 8, area.width(), 10);
        const bool isTall = area.height() > 90;
        paintNumber(painter, bar.topLeft() - QPoint(0, isTall ? 14 : 10), isTall ? 40 : 30);
        const auto x = [&](double value) {
            const double share = (value - meaning().low) / (meaning().high - meaning().low);
            return bar.left() + static_cast<int>(qBound(0.0, share, 1.0) * bar.width());
        };
        painter->fillRect(bar, look::kPage);
        const int first = x(meaning().normalLow);
        painter->fillRect(first, bar.top(), x(meaning().normalHigh) - first, bar.height(), look::kEdge);
        if (isGone() || !hasValue())
            return;
        // A needle: full where the value is known, else hollow.
        painter->setPen(QPen(ink(), 2));
        painter->setBrush(isKnown() ? ink() : look::kCard);
        painter->drawRect(qBound(bar.left(), x(number()) - 3, bar.right() - 6), bar.top() - 3, 6,
                          bar.height() + 6);
    }
};

// Asks for a number within the limits of a variable, by finger or by keyboard.
class Keypad : public QDialog
{
public:
    Keypad(const Meaning &meaning, QWidget *parent)
        : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint), grid_(new QGridLayout(this))
    {
        setObjectName("keypad");
        grid_->setContentsMargins(16, 12, 16, 16);
        auto *title = new QLabel(meaning.title + ", " + meaning.unit);
        title->setObjectName("title");
        const QString range = QString("%1 to %2").arg(meaning.low).arg(meaning.high);
        auto *limits = new QLabel(range);
        limits->setObjectName("limits");
        text_->setObjectName("number");
        text_->setAlignment(Qt::AlignRight);
        const char *pattern = meaning.decimals > 0 ? "\\d{0,6}([.,]\\d{0,3})?" : "\\d{0,6}";
        text_->setValidator(new QRegularExpressionValidator(QRegularExpression(pattern), text_));
        grid_->addWidget(title, 0, 0, 1, 4);
        grid_->addWidget(text_, 1, 0, 1, 4);
        grid_->addWidget(limits, 2, 0, 1, 4);
        for (const QString &key :
             QString(meaning.decimals > 0 ? "7894561230." : "7894561230").split("", Qt::SkipEmptyParts)) {
            const int place = grid_->count() - 3;
            connect(addKey(key, 3 + place / 3, place % 3, 1), &QPushButton::clicked, text_,
                    [this, key] { text_->insert(key); });
        }
        connect(addKey("Delete", 3, 3, 1), &QPushButton::clicked, text_, &QLineEdit::backspace);
        connect(addKey("Cancel", 4, 3, 1), &QPushButton::clicked, this, &QDialog::reject);
        auto *enter = addKey("Enter", 5, 3, 2);
        enter->setDefault(true);
        enter->setEnabled(false);
        connect(enter, &QPushButton::clicked, this, &QDialog::accept);
        connect(text_, &QLineEdit::textChanged, this, [=](const QString &text) {
            const bool isInside = number() >= meaning.low && number() <= meaning.high;
            limits->setText(isInside || text.isEmpty() ? range : "✕ not within " + range);
            enter->setEnabled(isInside && !text.isEmpty());
        });
        text_->setFocus();
    }
    double number() const { return text_->text().replace(',', '.').toDouble(); }

private:
    QPushButton *addKey(const QString &text, int row, int column, int rows)
    {
        auto *key = new QPushButton(text);
        key->setObjectName("key." + text);
        key->setFocusPolicy(Qt::NoFocus); // those who type stay in the text
        key->setMinimumWidth(column < 3 ? 84 : 120);
        key->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        grid_->addWidget(key, row, column, rows, 1);
        return key;
    }

    QGridLayout *const grid_;
    QLineEdit *const text_ = new QLineEdit;
};

// A number that is typed, within its limits.
class Entry : public Gauge
{
public:
    Entry(Machine *machine, const QString &name, QWidget *parent) : Gauge(machine, name, parent)
    {
        setFocusPolicy(Qt::StrongFocus);
        connect(this, &QAbstractButton::clicked, this, [this] {
            Keypad keypad(meaning(), window());
            if (!isPending() && keypad.exec() == QDialog::Accepted)
                write(keypad.number(), QString::number(keypad.number(), 'f', meaning().decimals));
        });
    }

protected:
    QString remark() const override { return QString(); }
    void paintContent(QPainter *painter, const QRect &area) override
    {
        paintNumber(painter, area.bottomLeft() - QPoint(0, 9), 36);
        const QString limits = QString("%1 to %2").arg(meaning().low).arg(meaning().high);
        painter->drawText(area.adjusted(0, 22, 0, 0), limits);
    }
};

// A bit: full when it is on, an empty ring when it is off.
class Lamp : public Tile
{
public:
    Lamp(Machine *machine, const QString &name, const QString &title, const QColor &colour, QWidget *parent)
        : Tile(machine, name, title, parent), colour_(colour)
    {}

protected:
    QString textOfValue() const override { return number() != 0 ? "on" : "off"; }
    void paintContent(QPainter *painter, const QRect &area) override
    {
        const QPoint centre = area.bottomLeft() + QPoint(12, -10);
        painter->drawText(centre + QPoint(20, 7), shown());
        painter->setPen(QPen(ink(), 2));
        painter->setBrush(number() != 0 && isKnown() ? QBrush(colour_) : Qt::NoBrush);
        painter->drawEllipse(centre, 11, 11);
    }

private:
    const QColor colour_;
};

// The state of a part of the line as a sign and a word, to be pressed.
class Part : public Tile
{
public:
    Part(Machine *machine, const QString &part, QWidget *parent)
        : Tile(machine, part + ".State", part, parent)
    {
        setFocusPolicy(Qt::StrongFocus);
    }

protected:
    QString textOfValue() const override { return wordAt(0, "State"); }
    void paintContent(QPainter *painter, const QRect &area) override
    {
        painter->setFont(valueFont(16));
        painter->drawText(area.adjusted(0, 0, 8, 0), Qt::AlignBottom | Qt::AlignLeft, shown());
        painter->setFont(look::font(26));
        if (hasValue() && !isGone())
            painter->drawText(area.topLeft() + QPoint(0, 48), wordAt(1, "?"));
    }

private:
    QString wordAt(int row, const QString &other) const
    {
        static const QStringList kWords[] = {{"Stopped", "Starting", "Running", "Waiting", "Fault"},
                                             {"■", "▷", "▶", "❚❚", "▲"}};
        return kWords[row].value(static_cast<int>(number()), other);
    }
};

// Writes a 1. The machine takes the bit back by itself when it has heard it, which is nothing to be told.
class Command : public Tile
{
public:
    Command(Machine *machine, const QString &name, const QString &title, QWidget *parent)
        : Tile(machine, name, title, parent)
    {
        isSolid_ = true;
        setFocusPolicy(Qt::StrongFocus);
        connect(this, &QAbstractButton::clicked, this, [this] { write(true, "on"); });
    }

protected:
    QString textOfValue() const override { return number() != 0 ? "on" : ""; }
    void paintContent(QPainter *painter, const QRect &area) override
    {
        painter->drawText(area, Qt::AlignBottom | Qt::AlignLeft, shown());
    }
};

#endif
