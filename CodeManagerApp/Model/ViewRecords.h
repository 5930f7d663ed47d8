#pragma once

#include <QColor>
#include <QObject>
#include <QString>
#include <QUuid>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

// What the views show, each a value that holds only that.
namespace CodeManagerApp
{

struct PaneRow {
    Q_GADGET
    QML_VALUE_TYPE(paneRow)
    Q_PROPERTY(QString title MEMBER title CONSTANT)
    Q_PROPERTY(QString symbol MEMBER symbol CONSTANT)
public:
    QString title;
    QString symbol;

    bool operator==(const PaneRow&) const = default;
};

struct StatRowValue {
    Q_GADGET
    QML_VALUE_TYPE(statRowValue)
    Q_PROPERTY(QString label MEMBER label CONSTANT)
    Q_PROPERTY(QString value MEMBER value CONSTANT)
    Q_PROPERTY(QVariant good MEMBER good CONSTANT)
public:
    QString label;
    QString value;
    QVariant good; // true healthy, false unhealthy, invalid neutral

    bool operator==(const StatRowValue&) const = default;
};

struct GuideTopic {
    Q_GADGET
    QML_VALUE_TYPE(guideTopic)
    Q_PROPERTY(QUuid id MEMBER id CONSTANT)
    Q_PROPERTY(QString symbol MEMBER symbol CONSTANT)
    Q_PROPERTY(QColor tint MEMBER tint CONSTANT)
    Q_PROPERTY(QString title MEMBER title CONSTANT)
    Q_PROPERTY(QString text MEMBER text CONSTANT)
public:
    QUuid id; // a new one each time the list is built
    QString symbol;
    QColor tint;
    QString title;
    QString text;

    bool operator==(const GuideTopic&) const = default;
};

// A part of the picture of where the product's space goes.
struct SpaceShare {
    Q_GADGET
    QML_VALUE_TYPE(spaceShare)
    Q_PROPERTY(QString title MEMBER title CONSTANT)
    Q_PROPERTY(QString humanSize MEMBER humanSize CONSTANT)
    Q_PROPERTY(double fraction MEMBER fraction CONSTANT)
    Q_PROPERTY(bool rest MEMBER rest CONSTANT)
public:
    QString title;
    QString humanSize;
    double fraction = 0; // of the whole, 0 to 1
    bool rest = false; // all smaller ones together

    bool operator==(const SpaceShare&) const = default;
};

// What a check has found about one thing.
struct FindingValue {
    Q_GADGET
    QML_VALUE_TYPE(findingValue)
    Q_PROPERTY(QString check MEMBER check CONSTANT)
    Q_PROPERTY(QString state MEMBER state CONSTANT)
    Q_PROPERTY(QString word MEMBER word CONSTANT)
    Q_PROPERTY(QString symbol MEMBER symbol CONSTANT)
    Q_PROPERTY(QString message MEMBER message CONSTANT)
public:
    QString check;
    QString state; // "ok", "warning" or "error"
    QString word; // the state for people
    QString symbol;
    QString message;

    bool operator==(const FindingValue&) const = default;
};

// A declared copy of the weights.
struct CrucibleSiteValue {
    Q_GADGET
    QML_VALUE_TYPE(crucibleSiteValue)
    Q_PROPERTY(QString volume MEMBER volume CONSTANT)
    Q_PROPERTY(QString place MEMBER place CONSTANT)
    Q_PROPERTY(QString path MEMBER path CONSTANT)
    Q_PROPERTY(QString size MEMBER size CONSTANT)
    Q_PROPERTY(bool serving MEMBER serving CONSTANT)
    Q_PROPERTY(bool canServe MEMBER canServe CONSTANT)
    Q_PROPERTY(QString reason MEMBER reason CONSTANT)
    Q_PROPERTY(double used MEMBER used CONSTANT)
    Q_PROPERTY(QString drive MEMBER drive CONSTANT)
public:
    QString volume;
    QString place; // "external" or "internal"
    QString path;
    QString size;
    bool serving = false;
    bool canServe = false;
    QString reason; // why it cannot be served from now; empty where it can
    double used = -1; // of the drive, 0 to 1; negative where nobody can tell
    QString drive; // how much of the drive is free

    bool operator==(const CrucibleSiteValue&) const = default;
};

// One of the two links that decide.
struct CrucibleLinkValue {
    Q_GADGET
    QML_VALUE_TYPE(crucibleLinkValue)
    Q_PROPERTY(QString label MEMBER label CONSTANT)
    Q_PROPERTY(QString target MEMBER target CONSTANT)
    Q_PROPERTY(QString link MEMBER link CONSTANT)
    Q_PROPERTY(bool resolves MEMBER resolves CONSTANT)
public:
    QString label;
    QString target; // a dash where nothing stands
    QString link;
    bool resolves = false;

    bool operator==(const CrucibleLinkValue&) const = default;
};

// A database that the product can use.
struct DatabaseValue {
    Q_GADGET
    QML_VALUE_TYPE(databaseValue)
    Q_PROPERTY(QString name MEMBER name CONSTANT)
    Q_PROPERTY(QString detail MEMBER detail CONSTANT)
    Q_PROPERTY(bool installed MEMBER installed CONSTANT)
public:
    QString name;
    QString detail;
    bool installed = false;

    bool operator==(const DatabaseValue&) const = default;
};

// A button that acts on the product, and why it cannot be pressed now; an empty reason where it can.
struct ActionState {
    Q_GADGET
    QML_VALUE_TYPE(actionState)
    Q_PROPERTY(QString title MEMBER title CONSTANT)
    Q_PROPERTY(QString reason MEMBER reason CONSTANT)
public:
    QString title;
    QString reason;

    bool operator==(const ActionState&) const = default;
};

} // namespace CodeManagerApp
