/// @file
/// The names of Qt 4.8's QtCore that the driver may use, with the arguments that Qt 4.8 takes; nothing behind
/// them.
///
/// scripts/qt4-names compiles the driver against this page, without code, where no Qt 4.8 is at hand: a name,
/// an overload or an implicit conversion that is missing here is an error. Before adding one, look it up in
/// Qt 4.8. What Qt 4.8 has and the driver must not use is missing on purpose: `foreach` runs its body only
/// once with a current compiler and Qt 4.8's headers; toAscii() and fromAscii() are gone from Qt 5; qSort()
/// and the like are deprecated there.
///
/// Qt 4.8 has the compiler warn where a changed copy of a QString is made and dropped, which is an error
/// here. This page has it so for the other classes' copies as well.
#ifndef PLC_TESTS_QT4_NAMES_QT48_H
#define PLC_TESTS_QT4_NAMES_QT48_H

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string>

// ------------------------------------------------------------------------------------------------ QtGlobal

#define QT_VERSION 0x040807
#define QT_VERSION_CHECK(major, minor, patch) (((major) << 16) | ((minor) << 8) | (patch))
#define Q_UNUSED(name) (void)(name);
#define Q_ASSERT(condition) static_cast<void>(condition)
#define Q_LIKELY(condition) (condition)
#define Q_UNLIKELY(condition) (condition)
#define Q_DECL_EXPORT
#define Q_DECL_IMPORT
#define Q_INT64_C(number) number##LL
#define Q_UINT64_C(number) number##ULL
#define Q_DISABLE_COPY(Class)                                                                                \
    Class(const Class &);                                                                                    \
    Class &operator=(const Class &);
#define Q_DECLARE_TYPEINFO(Type, Flags)

/// A function that leaves its object alone and gives a changed copy: dropping that is a mistake.
#define PLC_GIVES_A_COPY __attribute__((warn_unused_result))

typedef signed char qint8;
typedef unsigned char quint8;
typedef short qint16;
typedef unsigned short quint16;
typedef int qint32;
typedef unsigned int quint32;
typedef long long qint64;
typedef unsigned long long quint64;
typedef long long qlonglong;
typedef unsigned long long qulonglong;
typedef unsigned char uchar;
typedef unsigned short ushort;
typedef unsigned int uint;
typedef unsigned long ulong;
typedef double qreal;

enum QtMsgType
{
    QtDebugMsg,
    QtWarningMsg,
    QtCriticalMsg,
    QtFatalMsg
};

template <typename T>
const T &qMin(const T &a, const T &b);
template <typename T>
const T &qMax(const T &a, const T &b);
template <typename T>
const T &qBound(const T &low, const T &value, const T &high);
template <typename T>
T qAbs(const T &value);

namespace Qt {
enum CaseSensitivity
{
    CaseInsensitive,
    CaseSensitive
};
enum Initialization
{
    Uninitialized
};
} // namespace Qt

class QByteArray;
class QString;

// ------------------------------------------------------------------------------------------------ containers

template <typename T>
class QList
{
public:
    typedef T *iterator;
    typedef const T *const_iterator;
    typedef T value_type;

    QList();
    QList(const QList &other);
    QList(std::initializer_list<T> values);
    ~QList();
    QList &operator=(const QList &other);
    bool operator==(const QList &other) const;
    bool operator!=(const QList &other) const;
    void swap(QList &other);

    int size() const;
    int count() const;
    int count(const T &value) const;
    int length() const;
    bool isEmpty() const;
    bool empty() const;
    void clear();
    void reserve(int size);

    const T &at(int i) const;
    const T &operator[](int i) const;
    T &operator[](int i);
    T &first();
    const T &first() const;
    T &last();
    const T &last() const;
    T value(int i) const;
    T value(int i, const T &otherwise) const;
    QList mid(int position, int length = -1) const PLC_GIVES_A_COPY;

    void append(const T &value);
    void append(const QList &other);
    void prepend(const T &value);
    void insert(int i, const T &value);
    iterator insert(iterator before, const T &value);
    void replace(int i, const T &value);
    void removeAt(int i);
    int removeAll(const T &value);
    bool removeOne(const T &value);
    T takeAt(int i);
    T takeFirst();
    T takeLast();
    void removeFirst();
    void removeLast();
    void move(int from, int to);
    void swap(int i, int j);
    void push_back(const T &value);
    void push_front(const T &value);
    QList &operator+=(const QList &other);
    QList &operator+=(const T &value);
    QList &operator<<(const T &value);
    QList &operator<<(const QList &other);
    QList operator+(const QList &other) const;

    int indexOf(const T &value, int from = 0) const;
    int lastIndexOf(const T &value, int from = -1) const;
    bool contains(const T &value) const;
    bool startsWith(const T &value) const;
    bool endsWith(const T &value) const;

    iterator begin();
    const_iterator begin() const;
    const_iterator constBegin() const;
    iterator end();
    const_iterator end() const;
    const_iterator constEnd() const;
    iterator erase(iterator position);
    iterator erase(iterator first, iterator last);

private:
    void *d;
};

/// What QMap and QHash share.
template <typename Key, typename T>
class Qt48Dictionary
{
public:
    class const_iterator
    {
    public:
        typedef std::bidirectional_iterator_tag iterator_category;
        typedef std::ptrdiff_t difference_type;
        typedef T value_type;
        typedef const T *pointer;
        typedef const T &reference;

        const Key &key() const;
        const T &value() const;
        const T &operator*() const;
        const T *operator->() const;
        bool operator==(const const_iterator &other) const;
        bool operator!=(const const_iterator &other) const;
        const_iterator &operator++();
        const_iterator operator++(int);
        const_iterator &operator--();
        const_iterator operator--(int);
    };
    class iterator
    {
    public:
        typedef std::bidirectional_iterator_tag iterator_category;
        typedef std::ptrdiff_t difference_type;
        typedef T value_type;
        typedef T *pointer;
        typedef T &reference;

        operator const_iterator() const;
        const Key &key() const;
        T &value() const;
        T &operator*() const;
        T *operator->() const;
        bool operator==(const iterator &other) const;
        bool operator!=(const iterator &other) const;
        bool operator==(const const_iterator &other) const;
        bool operator!=(const const_iterator &other) const;
        iterator &operator++();
        iterator operator++(int);
        iterator &operator--();
        iterator operator--(int);
    };

    Qt48Dictionary();
    Qt48Dictionary(const Qt48Dictionary &other);
    ~Qt48Dictionary();
    Qt48Dictionary &operator=(const Qt48Dictionary &other);

    int size() const;
    int count() const;
    int count(const Key &key) const;
    bool isEmpty() const;
    bool empty() const;
    void clear();

    iterator insert(const Key &key, const T &value);
    int remove(const Key &key);
    T take(const Key &key);
    bool contains(const Key &key) const;
    const T value(const Key &key) const;
    const T value(const Key &key, const T &otherwise) const;
    T &operator[](const Key &key);
    const T operator[](const Key &key) const;
    QList<Key> keys() const;
    QList<Key> keys(const T &value) const;
    QList<T> values() const;

    iterator begin();
    const_iterator begin() const;
    const_iterator constBegin() const;
    iterator end();
    const_iterator end() const;
    const_iterator constEnd() const;
    iterator find(const Key &key);
    const_iterator find(const Key &key) const;
    const_iterator constFind(const Key &key) const;
    iterator erase(iterator position);

private:
    void *d;
};

template <typename Key, typename T>
class QMap : public Qt48Dictionary<Key, T>
{
public:
    typename Qt48Dictionary<Key, T>::iterator lowerBound(const Key &key);
    typename Qt48Dictionary<Key, T>::const_iterator lowerBound(const Key &key) const;
    typename Qt48Dictionary<Key, T>::iterator upperBound(const Key &key);
    typename Qt48Dictionary<Key, T>::const_iterator upperBound(const Key &key) const;
};

uint qHash(char key);
uint qHash(uchar key);
uint qHash(short key);
uint qHash(ushort key);
uint qHash(int key);
uint qHash(uint key);
uint qHash(long key);
uint qHash(ulong key);
uint qHash(qint64 key);
uint qHash(quint64 key);
uint qHash(const QByteArray &key);
uint qHash(const QString &key);

template <typename Key, typename T>
class QHash : public Qt48Dictionary<Key, T>
{
public:
    int capacity() const;
    void reserve(int size);
    void squeeze();
};

// ----------------------------------------------------------------------------------------------- QByteArray

class QByteRef
{
public:
    operator char() const;
    QByteRef &operator=(char value);
    QByteRef &operator=(const QByteRef &other);
};

class QByteArray
{
public:
    typedef char *iterator;
    typedef const char *const_iterator;

    QByteArray();
    QByteArray(const char *text);
    QByteArray(const char *bytes, int size);
    QByteArray(int size, char filler);
    QByteArray(int size, Qt::Initialization);
    QByteArray(const QByteArray &other);
    ~QByteArray();
    QByteArray &operator=(const QByteArray &other);
    QByteArray &operator=(const char *text);
    void swap(QByteArray &other);

    int size() const;
    int count() const;
    int length() const;
    bool isEmpty() const;
    bool isNull() const;
    void clear();
    void resize(int size);
    void reserve(int size);
    void squeeze();
    int capacity() const;
    QByteArray &fill(char filler, int size = -1);
    void truncate(int position);
    void chop(int count);

    char *data();
    const char *data() const;
    const char *constData() const;
    operator const char *() const;
    char at(int i) const;
    char operator[](int i) const;
    char operator[](uint i) const;
    QByteRef operator[](int i);
    QByteRef operator[](uint i);
    iterator begin();
    const_iterator begin() const;
    const_iterator constBegin() const;
    iterator end();
    const_iterator end() const;
    const_iterator constEnd() const;

    QByteArray left(int length) const PLC_GIVES_A_COPY;
    QByteArray right(int length) const PLC_GIVES_A_COPY;
    QByteArray mid(int position, int length = -1) const PLC_GIVES_A_COPY;
    QByteArray trimmed() const PLC_GIVES_A_COPY;
    QByteArray simplified() const PLC_GIVES_A_COPY;
    QByteArray toLower() const PLC_GIVES_A_COPY;
    QByteArray toUpper() const PLC_GIVES_A_COPY;
    QByteArray toHex() const PLC_GIVES_A_COPY;
    QByteArray toBase64() const PLC_GIVES_A_COPY;
    QList<QByteArray> split(char separator) const PLC_GIVES_A_COPY;
    int indexOf(char wanted, int from = 0) const;
    int indexOf(const char *wanted, int from = 0) const;
    int indexOf(const QByteArray &wanted, int from = 0) const;
    int lastIndexOf(char wanted, int from = -1) const;
    bool contains(char wanted) const;
    bool contains(const QByteArray &wanted) const;
    int count(char wanted) const;
    bool startsWith(char wanted) const;
    bool startsWith(const QByteArray &wanted) const;
    bool endsWith(char wanted) const;
    bool endsWith(const QByteArray &wanted) const;

    QByteArray &append(char byte);
    QByteArray &append(const char *text);
    QByteArray &append(const char *bytes, int size);
    QByteArray &append(const QByteArray &other);
    QByteArray &prepend(char byte);
    QByteArray &prepend(const char *text);
    QByteArray &prepend(const char *bytes, int size);
    QByteArray &prepend(const QByteArray &other);
    QByteArray &insert(int i, char byte);
    QByteArray &insert(int i, const char *bytes, int size);
    QByteArray &insert(int i, const QByteArray &other);
    QByteArray &remove(int position, int length);
    QByteArray &replace(int position, int length, const QByteArray &after);
    QByteArray &replace(char before, char after);
    QByteArray &operator+=(char byte);
    QByteArray &operator+=(const char *text);
    QByteArray &operator+=(const QByteArray &other);
    void push_back(char byte);

    short toShort(bool *ok = 0, int base = 10) const;
    ushort toUShort(bool *ok = 0, int base = 10) const;
    int toInt(bool *ok = 0, int base = 10) const;
    uint toUInt(bool *ok = 0, int base = 10) const;
    double toDouble(bool *ok = 0) const;
    static QByteArray number(int value, int base = 10);
    static QByteArray number(uint value, int base = 10);
    static QByteArray number(qint64 value, int base = 10);
    static QByteArray number(quint64 value, int base = 10);
    static QByteArray fromRawData(const char *bytes, int size);
    static QByteArray fromHex(const QByteArray &text);
    static QByteArray fromBase64(const QByteArray &text);

private:
    void *d;
};

bool operator==(const QByteArray &a, const QByteArray &b);
bool operator!=(const QByteArray &a, const QByteArray &b);
bool operator<(const QByteArray &a, const QByteArray &b);
const QByteArray operator+(const QByteArray &a, const QByteArray &b);

// --------------------------------------------------------------------------------------------------- QString

class QLatin1Char
{
public:
    explicit QLatin1Char(char character);
    char toLatin1() const;
    ushort unicode() const;
};

class QChar
{
public:
    QChar();
    QChar(char character);
    QChar(QLatin1Char character);
    QChar(ushort code);
    bool isDigit() const;
    bool isLetter() const;
    bool isSpace() const;
    int digitValue() const;
    QChar toLower() const PLC_GIVES_A_COPY;
    QChar toUpper() const PLC_GIVES_A_COPY;
    char toLatin1() const PLC_GIVES_A_COPY;
    ushort unicode() const;
};
bool operator==(QChar a, QChar b);
bool operator!=(QChar a, QChar b);
bool operator<(QChar a, QChar b);

class QLatin1String
{
public:
    explicit QLatin1String(const char *text);
    const char *latin1() const;
};

class QStringList;

class QString
{
public:
    enum SplitBehavior
    {
        KeepEmptyParts,
        SkipEmptyParts
    };

    QString();
    QString(const QChar *characters, int size);
    QString(QChar character);
    QString(int size, QChar character);
    QString(const QLatin1String &text);
    QString(const char *text);
    QString(const QByteArray &text);
    QString(const QString &other);
    ~QString();
    QString &operator=(const QString &other);
    QString &operator=(const QLatin1String &text);
    void swap(QString &other);

    int size() const;
    int count() const;
    int count(QChar wanted, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    int length() const;
    bool isEmpty() const;
    bool isNull() const;
    void clear();
    void resize(int size);
    void reserve(int size);
    void truncate(int position);
    void chop(int count);

    const QChar at(int i) const;
    const QChar operator[](int i) const;
    const QChar *constData() const;
    QString left(int length) const PLC_GIVES_A_COPY;
    QString right(int length) const PLC_GIVES_A_COPY;
    QString mid(int position, int length = -1) const PLC_GIVES_A_COPY;
    QString trimmed() const PLC_GIVES_A_COPY;
    QString simplified() const PLC_GIVES_A_COPY;
    QString toLower() const PLC_GIVES_A_COPY;
    QString toUpper() const PLC_GIVES_A_COPY;
    QStringList split(const QString &separator, SplitBehavior behavior = KeepEmptyParts,
                      Qt::CaseSensitivity cs = Qt::CaseSensitive) const PLC_GIVES_A_COPY;
    QStringList split(const QChar &separator, SplitBehavior behavior = KeepEmptyParts,
                      Qt::CaseSensitivity cs = Qt::CaseSensitive) const PLC_GIVES_A_COPY;
    int indexOf(QChar wanted, int from = 0, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    int indexOf(const QString &wanted, int from = 0, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    int indexOf(const QLatin1String &wanted, int from = 0, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    bool contains(QChar wanted, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    bool contains(const QString &wanted, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    bool startsWith(const QString &wanted, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    bool startsWith(const QLatin1String &wanted, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    bool startsWith(const QChar &wanted, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    bool endsWith(const QString &wanted, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;
    int compare(const QString &other, Qt::CaseSensitivity cs = Qt::CaseSensitive) const;

    QString &append(QChar character);
    QString &append(const QString &other);
    QString &append(const QLatin1String &text);
    QString &prepend(QChar character);
    QString &prepend(const QString &other);
    QString &insert(int i, const QString &other);
    QString &remove(int position, int length);
    QString &replace(int position, int length, const QString &after);
    QString &operator+=(QChar character);
    QString &operator+=(const QString &other);
    QString &operator+=(const QLatin1String &text);
    QString arg(int value, int width = 0, int base = 10,
                const QChar &filler = QChar()) const PLC_GIVES_A_COPY;
    QString arg(uint value, int width = 0, int base = 10,
                const QChar &filler = QChar()) const PLC_GIVES_A_COPY;
    QString arg(const QString &value, int width = 0, const QChar &filler = QChar()) const PLC_GIVES_A_COPY;

    short toShort(bool *ok = 0, int base = 10) const;
    ushort toUShort(bool *ok = 0, int base = 10) const;
    int toInt(bool *ok = 0, int base = 10) const;
    uint toUInt(bool *ok = 0, int base = 10) const;
    qint64 toLongLong(bool *ok = 0, int base = 10) const;
    quint64 toULongLong(bool *ok = 0, int base = 10) const;
    double toDouble(bool *ok = 0) const;
    QByteArray toLatin1() const PLC_GIVES_A_COPY;
    QByteArray toUtf8() const PLC_GIVES_A_COPY;
    QByteArray toLocal8Bit() const PLC_GIVES_A_COPY;
    std::string toStdString() const PLC_GIVES_A_COPY;
    static QString number(int value, int base = 10);
    static QString number(uint value, int base = 10);
    static QString number(long value, int base = 10);
    static QString number(ulong value, int base = 10);
    static QString number(qint64 value, int base = 10);
    static QString number(quint64 value, int base = 10);
    static QString fromLatin1(const char *text, int size = -1);
    static QString fromUtf8(const char *text, int size = -1);
    static QString fromLocal8Bit(const char *text, int size = -1);
    static QString fromStdString(const std::string &text);

private:
    void *d;
};

bool operator==(const QString &a, const QString &b);
bool operator!=(const QString &a, const QString &b);
bool operator<(const QString &a, const QString &b);
const QString operator+(const QString &a, const QString &b);

class QStringList : public QList<QString>
{
public:
    QStringList();
    explicit QStringList(const QString &text);
    QStringList(const QList<QString> &texts);
    QStringList(std::initializer_list<QString> texts);
    QString join(const QString &separator) const PLC_GIVES_A_COPY;
};

// --------------------------------------------------------------------------------------------------- threads

class QMutex
{
public:
    enum RecursionMode
    {
        NonRecursive,
        Recursive
    };
    explicit QMutex(RecursionMode mode = NonRecursive);
    ~QMutex();
    void lock();
    bool tryLock();
    bool tryLock(int milliseconds);
    void unlock();

private:
    Q_DISABLE_COPY(QMutex)
};

class QMutexLocker
{
public:
    explicit QMutexLocker(QMutex *mutex);
    ~QMutexLocker();
    void unlock();
    void relock();
    QMutex *mutex() const;

private:
    Q_DISABLE_COPY(QMutexLocker)
};

// ------------------------------------------------------------------------------------------- files and time

class QTime
{
public:
    QTime();
    QTime(int hour, int minute, int second = 0, int millisecond = 0);
    int hour() const;
    int minute() const;
    int second() const;
    int msec() const;
    QString toString(const QString &format) const;
    static QTime currentTime();
};

class QDateTime
{
public:
    QDateTime();
    QTime time() const;
    QString toString(const QString &format) const;
    uint toTime_t() const;
    qint64 toMSecsSinceEpoch() const;
    static QDateTime currentDateTime();
    static QDateTime currentDateTimeUtc();
    static QDateTime fromTime_t(uint seconds);
    static QDateTime fromMSecsSinceEpoch(qint64 milliseconds);
    static qint64 currentMSecsSinceEpoch();
};

class QIODevice
{
public:
    enum OpenModeFlag
    {
        NotOpen,
        ReadOnly,
        WriteOnly,
        ReadWrite,
        Append,
        Truncate = 8,
        Text = 16,
        Unbuffered = 32
    };
    class OpenMode
    {
    public:
        OpenMode(OpenModeFlag flag);
    };
    virtual ~QIODevice();
    virtual bool open(OpenMode mode);
    virtual void close();
    bool isOpen() const;
    QByteArray readAll();
    qint64 write(const char *bytes, qint64 size);
    qint64 write(const QByteArray &bytes);
};
QIODevice::OpenMode operator|(QIODevice::OpenModeFlag a, QIODevice::OpenModeFlag b);

class QFile : public QIODevice
{
public:
    QFile();
    QFile(const QString &name);
    ~QFile();
    bool exists() const;
    bool open(OpenMode mode);
    bool flush();
    bool remove();
    static bool exists(const QString &name);
    static bool remove(const QString &name);
};

class QTextStream
{
public:
    explicit QTextStream(QIODevice *device);
    ~QTextStream();
    void flush();
    QTextStream &operator<<(QChar character);
    QTextStream &operator<<(char character);
    QTextStream &operator<<(int value);
    QTextStream &operator<<(const QString &text);
    QTextStream &operator<<(const QByteArray &text);
    QTextStream &operator<<(const char *text);
};

#endif
