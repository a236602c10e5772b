// SPDX-License-Identifier: LGPL-2.1-or-later
#include "xmlgrammar.h"

#include "texts.h"

namespace
{

/** What stands in what, as far as the client knows; the words are separated by blanks. */
struct Rule {
    const char *parent;
    const char *children;
};

const Rule rules[] = {
    {"reply", "ref out"},
    {"out", "get get edit error session_info"},
    {"get", "path data data crc32"},
    {"edit", "ok"},
    {"session_info", "ok"},
    {"error", "type message"},
    {"notify", "ref event"},
    {"event", "change"},
    {"change", "op spath rpath data data crc32"},
    {"data", "device item name value"},
    {"device", "item interface name"},
    {"interface", "name mtu address"},
    {"item", "id name value item"},
    {"request", "ref out notify reply"},
};

const char *const allNames[] = {
    "reply",   "notify", "request", "ref",  "out",       "edit",         "ok",    "get",    "path",
    "data",    "crc32",  "error",   "type", "message",   "session_info", "event", "change", "op",
    "spath",   "rpath",  "device",  "item", "interface", "name",         "id",    "value",  "mtu",
    "address", "a",      "b",       "x"};

const char *const oddNames[] = {"p:a",
                                "p:data",
                                "p:out",
                                ":a",
                                "a:",
                                "p:q:r",
                                "xmlns",
                                "xmlns:p",
                                "xml",
                                "xml:a",
                                "a.b-c_d",
                                "_",
                                "-a",
                                "1a",
                                ".a",
                                "a-1",
                                "reply.",
                                "data-",
                                "Data",
                                "REPLY",
                                "refx",
                                "re",
                                "\xc3\xa9",
                                "\xe6\x97\xa5\xe6\x9c\xac",
                                "a\xc2\xb7",
                                "\xc2\xb7x",
                                "d\xe2\x80\xa8",
                                "\xf0\x9f\x98\x80"};

const char *const entityNames[] = {"amp", "lt", "gt",        "quot", "apos",
                                   "e",   "f",  "undefined", "AMP",  "nbsp"};

const char *const references[] = {"&#65;",
                                  "&#x41;",
                                  "&#X41;",
                                  "&#0;",
                                  "&#x0;",
                                  "&#1;",
                                  "&#8;",
                                  "&#9;",
                                  "&#10;",
                                  "&#13;",
                                  "&#xD;",
                                  "&#xd;",
                                  "&#38;",
                                  "&#60;x/&#62;",
                                  "&#x85;",
                                  "&#x2028;",
                                  "&#xFFFD;",
                                  "&#xFFFE;",
                                  "&#xFFFF;",
                                  "&#xD800;",
                                  "&#xDFFF;",
                                  "&#xD83D;&#xDE00;",
                                  "&#x10000;",
                                  "&#x10FFFF;",
                                  "&#x110000;",
                                  "&#99999999999999;",
                                  "&#4294967361;",
                                  "&#;",
                                  "&#x;",
                                  "&#65",
                                  "&#xG;",
                                  "&#6a;",
                                  "&#",
                                  "&#x00000041;",
                                  "&#-1;",
                                  "&#+5;",
                                  "&#%65;"};

const char *const plainTexts[] = {"7",
                                  "r1",
                                  "eth0",
                                  " ",
                                  "\r",
                                  "\r\n",
                                  "x y",
                                  "two  blanks",
                                  "/config/system[name='a']",
                                  "%1 %2",
                                  "]",
                                  "]]",
                                  "]]&gt;",
                                  "&amp;",
                                  "x &lt;&gt;&quot;&apos; y",
                                  "&#65;&#x42;",
                                  "a\rb",
                                  "a\r\rb",
                                  "a\r\r\nb",
                                  "a>b",
                                  "\"quoted\"",
                                  "it's",
                                  "\t",
                                  "\n",
                                  "a\nb",
                                  "\xc3\xa9",
                                  "\xe6\x97\xa5\xe6\x9c\xac",
                                  "\xc2\x85",
                                  "\xe2\x80\xa8",
                                  "\xf0\x9f\x98\x80",
                                  "\xd6\x8f",
                                  "\xef\xac\x8f",
                                  "1b2c3d4e",
                                  "patch",
                                  "-12.5",
                                  "\xd7\x90",
                                  "\xe1\x84\x80"};

const char *const wellFormedMarkup[] = {"<!---->",
                                        "<!--x-->",
                                        "<!-- - -->",
                                        "<![CDATA[]]>",
                                        "<![CDATA[x]]>",
                                        "<![CDATA[<&>\"']]>",
                                        "<![CDATA[]]]]>",
                                        "<![CDATA[\r\n]]>",
                                        "<?p?>",
                                        "<?p q?>",
                                        "<?p\r?>",
                                        "<x></x>",
                                        "<x/>",
                                        "<x />",
                                        "<x><y/></x>",
                                        "<x></x\r>",
                                        "<p:x xmlns:p='u'/>",
                                        "<x xmlns='u'/>",
                                        "<x a='&lt;&#9;\r\n' b=\"'\"/>",
                                        "<data/>",
                                        "<ok/>",
                                        "<ok></ok>"};

const char *const wrongMarkup[] = {"&",
                                   "<",
                                   ">",
                                   "]]>",
                                   "]]",
                                   "]]]>",
                                   "<!",
                                   "<!-",
                                   "<?",
                                   "</",
                                   "</>",
                                   "<>",
                                   "< a>",
                                   "<a b>",
                                   "<a b=>",
                                   "<a b=c>",
                                   "<a b='",
                                   "<![CDATA[",
                                   "<!--",
                                   "<!-- -- -->",
                                   "<?x",
                                   "&amp",
                                   "&amp ;",
                                   "&a",
                                   "<!DOCTYPE a>",
                                   "?>",
                                   "-->",
                                   "/>",
                                   "<a/",
                                   "<a//",
                                   "&lt",
                                   "<x",
                                   "<x/",
                                   "</x",
                                   "</x >",
                                   "<x / >",
                                   "<1>",
                                   "<-a>",
                                   "<.>",
                                   "<a:>",
                                   "<:a>",
                                   "<a a='1' a='2'/>",
                                   "<a b='<'/>",
                                   "<a b='&u;'/>",
                                   "<a b='1'c='2'/>",
                                   "<p:a/>",
                                   "<a p:b='1'/>",
                                   "<a xmlns:p=''/>",
                                   "<a xmlns:xml='u'/>",
                                   "<a xmlns:xmlns='u'/>",
                                   "<!ENTITY>",
                                   "<?xml?>",
                                   "<?xml version='1.0'?>",
                                   "<?XML x?>",
                                   "<? x?>",
                                   "<a></b>",
                                   "</a >"};

const char *const attributeTexts[] = {" a='1'",
                                      " a=\"1\"",
                                      " a = '1'",
                                      "\ra='1'",
                                      " xmlns='u'",
                                      " xmlns=''",
                                      " xmlns:p='u'",
                                      " xmlns:p='u' p:b='2'",
                                      " a='&amp;&lt;&#65;'",
                                      " a='\"' b=\"'\"",
                                      " a=''",
                                      " xml:lang='da'",
                                      " a='>'",
                                      " \xc3\xa9='\xe6\x97\xa5'",
                                      " a='\t\n\r'"};

const char *const blankTexts[] = {"", " ", "\r", "\r\n", "\r\r\n", "\n", "\t", "  "};

const char *const declarations[] = {"<?xml version='1.0'?>",
                                    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>",
                                    "<?xml version='1.0' encoding='ISO-8859-1'?>",
                                    "<?xml version='1.0' encoding='UTF-16'?>",
                                    "<?xml version='1.0' encoding='utf-8' standalone='yes' ?>",
                                    "<?xml version='1.0' standalone='no'?>",
                                    "<?xml version='1.0' encoding='Shift_JIS'?>",
                                    "<?xml version='1.0' encoding='none such'?>",
                                    "<?xml version='1.0' encoding='nonesuch'?>",
                                    "<?xml version='1.1'?>",
                                    "<?xml version='2.0'?>",
                                    "<?xml?>",
                                    "<?xml encoding='UTF-8'?>",
                                    "<?xml version='1.0' standalone='maybe'?>",
                                    "<?xml version=1.0?>",
                                    "<?XML version='1.0'?>",
                                    "<?xml version='1.0'",
                                    "<?xml version='1.0' encoding=''?>",
                                    "<?xml-stylesheet x?>",
                                    "<?xmlversion='1.0'?>",
                                    "<?xml  version = '1.0'  encoding = \"us-ascii\"?>",
                                    "<?xml\r\nversion='1.0'?>"};

const char *const documentTypes[] = {
    "<!DOCTYPE reply>",
    "<!DOCTYPE a SYSTEM 'x'>",
    "<!DOCTYPE a PUBLIC \"p\" 's'>",
    "<!DOCTYPE a []>",
    "<!DOCTYPE a [<!ENTITY e 'x'>]>",
    "<!DOCTYPE a [<!ENTITY e '&#38;lt;'><!ENTITY f '&e;y'>]>",
    "<!DOCTYPE a [<!ENTITY e '<b>7</b>'>]>",
    "<!DOCTYPE a [<!ENTITY e '<ok/>'><!ENTITY f '&e;&e;'>]>",
    "<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]>",
    "<!DOCTYPE a [<!ENTITY e '</data>'>]>",
    "<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]>",
    "<!DOCTYPE a [<!ENTITY % p 'x'> %p;]>",
    "<!DOCTYPE a [<!ENTITY e ''>]>",
    "<!DOCTYPE a [<!ENTITY e '\xd7\x90'><!ENTITY f \"'\">]>",
    "<!DOCTYPE a [<!ATTLIST a b CDATA 'c'>]>",
    "<!DOCTYPE a [<!ATTLIST data xmlns CDATA 'u'>]>",
    "<!DOCTYPE a [<!ELEMENT a (#PCDATA)><!NOTATION n SYSTEM 'x'><!--c--><?p q?>]>",
    "<!DOCTYPE a [<!ENTITY amp 'x'>]>",
    "<!DOCTYPE a [<!ENTITY e 'a&#13;b'>]>",
    "<!DOCTYPE a [<!ENTITY e SYSTEM 'x' NDATA n>]>",
    "<!DOCTYPE",
    "<!DOCTYPE a [",
    "<!DOCTYPE a [<!ENTITY e",
    "<!DOCTYPE a [<!ENTITY e 'x'>",
    "<!doctype a>",
    "<!DOCTYPE 1>",
    "<!DOCTYPE a [<!ENTITY e x>]>",
    "<!DOCTYPE a [&e;]>"};

/** Characters at the edges of what XML allows, and of what signals may carry. */
const ushort edges[] = {0,      1,      8,      9,      0xa,    0xb,    0xc,    0xd,    0xe,
                        0x1f,   0x20,   0x7e,   0x7f,   0x80,   0x85,   0x9f,   0xa0,   0xb7,
                        0xd7,   0xf7,   0xff,   0x100,  0x37e,  0x58f,  0x590,  0x10ff, 0x1100,
                        0x200c, 0x2028, 0x2029, 0x3000, 0xd7ff, 0xd800, 0xdbff, 0xdc00, 0xdfff,
                        0xe000, 0xfb0f, 0xfb10, 0xfeff, 0xfffd, 0xfffe, 0xffff};

const char special[] = "<>&\"'/=![]-?;:# xa1\r"; // what XML is made of

/** The names of what stands in an element, separated by blanks; null if it is none of the rules. */
const char *childrenOf(const QString &name)
{
    for (const Rule &rule : rules) {
        if (name == QLatin1String(rule.parent))
            return rule.children;
    }
    return nullptr;
}

template <int size>
void addAll(QStringList &list, const char *const (&pieces)[size])
{
    for (const char *piece : pieces)
        list << ::text(piece);
}

} // namespace

XmlGrammar::XmlGrammar(Random &random)
    : random(random)
    , manners(Plain)
    , hasEntities(false)
{
    const int kind = random.below(10);
    manners = kind < 3 ? Plain : kind < 6 ? WellFormed : Wild;
    hasEntities = manners != Plain && chance(20);
}

QStringList XmlGrammar::pieces()
{
    QStringList list;
    addAll(list, oddNames);
    addAll(list, references);
    addAll(list, plainTexts);
    addAll(list, wellFormedMarkup);
    addAll(list, wrongMarkup);
    addAll(list, attributeTexts);
    addAll(list, declarations);
    addAll(list, documentTypes);
    for (const char *name : entityNames)
        list << QLatin1Char('&') + ::text(name) + QLatin1Char(';');
    for (const char *c = special; *c; ++c)
        list << QString(QLatin1Char(*c));
    for (const ushort code : edges)
        list << QString(QChar(code));
    return list;
}

bool XmlGrammar::chance(int percent)
{
    return random.below(100) < percent;
}

QString XmlGrammar::name()
{
    const int longName = 4000; // readers may refuse names of more than 4 kB
    if (manners != Plain && random.below(2000) == 0)
        return QString(longName + random.below(300), QLatin1Char('n'));
    return ::text(manners == Wild && chance(15) ? random.oneOf(oddNames) : random.oneOf(allNames));
}

QString XmlGrammar::character()
{
    if (chance(50))
        return QString(QLatin1Char(special[random.below(int(sizeof special) - 1)]));
    return QString(QChar(random.oneOf(edges)));
}

QString XmlGrammar::snippet()
{
    switch (random.below(5)) {
    case 0:
        return ::text(random.oneOf(wrongMarkup));
    case 1:
        return ::text(random.oneOf(references));
    case 2:
        return QLatin1Char('&') + ::text(random.oneOf(entityNames)) + QLatin1Char(';');
    default:
        return character();
    }
}

QString XmlGrammar::text()
{
    const int longText = 9000; // readers take in some thousand characters at once
    QString result = ::text(random.oneOf(plainTexts));
    if (random.below(500) == 0)
        result = result.repeated(1 + random.below(longText / int(result.length())));
    if (manners != Plain && chance(20))
        result += ::text(random.oneOf(wellFormedMarkup));
    if (manners == Wild && chance(15))
        result += snippet();
    if (hasEntities && chance(20))
        result += QLatin1String(chance(50) ? "&e;" : "&f;");
    if (chance(20))
        result += ::text(random.oneOf(plainTexts));
    return result;
}

QString XmlGrammar::blanks()
{
    return chance(90) ? QString() : ::text(random.oneOf(blankTexts));
}

QString XmlGrammar::attributes()
{
    if (manners == Plain || chance(85))
        return QString();
    const QString result = ::text(random.oneOf(attributeTexts));
    return chance(20) ? result + QLatin1String(" c='2'") : result;
}

QString XmlGrammar::children(const QString &parent, int depth)
{
    QString result;
    const char *const expected = childrenOf(parent);
    const QStringList names = ::text(expected ? expected : "x").split(QLatin1Char(' '));
    if (expected && depth > 2 && chance(60)) { // all of them in order, as the daemon has it
        for (const QString &child : names)
            result += element(child, depth - 1);
        return result;
    }
    for (int count = depth > 0 && (expected || chance(30)) ? random.below(4) : 0; count > 0;
         --count) {
        const bool usual = expected && !chance(15);
        result += element(usual ? names.at(random.below(int(names.size()))) : name(), depth - 1);
        if (chance(15))
            result += text();
    }
    return result;
}

QString XmlGrammar::element(const QString &name, int depth)
{
    const QString begin = QLatin1Char('<') + name + attributes() + blanks();
    QString content = children(name, depth);
    if (content.isEmpty() && chance(80))
        content = text();
    if (content.isEmpty() && chance(50))
        return begin + QLatin1String("/>");
    const QString end = QLatin1String("</") + name + blanks() + QLatin1Char('>');
    if (manners == Wild && chance(1))
        return begin + QLatin1Char('>') + content; // it is never closed
    return begin + QLatin1Char('>') + content + end;
}

/** What may stand before and behind the root element. */
QString XmlGrammar::misc()
{
    QString result = blanks();
    if (manners != Plain && chance(10))
        result += QLatin1String("<!-- c -->") + blanks();
    if (manners != Plain && chance(5))
        result += QLatin1String("<?p q?>") + blanks();
    if (manners == Wild && chance(4))
        result += snippet();
    return result;
}

QString XmlGrammar::around(const QString &root)
{
    QString result;
    if (manners == Wild && chance(5))
        result += misc();
    if (manners != Plain && chance(15))
        result +=
            ::text(manners == Wild ? random.oneOf(declarations) : declarations[random.below(5)]);
    result += misc();
    if (hasEntities)
        result += ::text(random.oneOf(documentTypes));
    result += misc() + root + misc();
    if (chance(10))
        result += QLatin1Char('\r');
    if (manners == Wild && chance(5))
        result += chance(50) ? text() : element(name(), 2);
    return result;
}

QString XmlGrammar::nested(const QString &content)
{
    QString before;
    QString behind;
    for (int depth = random.below(chance(10) ? 3000 : 100); depth > 0; --depth) {
        before += QLatin1String("<x>");
        behind += QLatin1String("</x>");
    }
    return before + content + behind;
}

QString XmlGrammar::body()
{
    const int kind = random.below(20);
    const int depth = 6;
    QString root = element(kind < 8    ? QString(QLatin1String("reply"))
                           : kind < 17 ? QString(QLatin1String("notify"))
                           : kind < 18 ? QString(QLatin1String("request"))
                                       : name(),
                           depth);
    if (chance(1))
        root = nested(root);
    return around(root);
}

QString XmlGrammar::data()
{
    const QString root = element(QLatin1String("device"), 5);
    return chance(90) ? around(root) : root + element(QLatin1String("item"), 3);
}

/** The names and the texts behind them in a text, as they follow one another, or some of them. */
QString XmlGrammar::pathInto(const QString &xml)
{
    QString path = chance(30) ? QString(QLatin1Char('/')) : QString();
    int at = 0;
    for (int steps = 1 + random.below(4); steps > 0; --steps) {
        const int from = at + random.below(20);
        const int begin = int(xml.indexOf(QLatin1Char('<'), from)) + 1;
        const int end = int(xml.indexOf(QLatin1Char('>'), begin));
        if (begin == 0 || end < 0 || xml.at(begin) == QLatin1Char('/'))
            continue;
        const int behind = int(xml.indexOf(QLatin1Char('<'), end));
        const QString name = chance(95) ? xml.mid(begin, end - begin) : this->name();
        if (chance(25))
            path += ::text(random.oneOf(allNames)) + QLatin1Char('[') + name + QLatin1String("='") +
                    (chance(90) ? xml.mid(end + 1, behind - end - 1) : text()) +
                    QLatin1String("']/");
        else
            path += name + QLatin1Char('/');
        if (chance(10) && path.endsWith(QLatin1String("']/")))
            path += name + QLatin1Char('/');
        at = end;
    }
    if (chance(5))
        path.insert(random.below(int(path.length()) + 1), character());
    return path;
}

QString XmlGrammar::mutated(const QString &text, const QString &other)
{
    QString result = text;
    if (chance(40))
        return result;
    // A plain text with one odd place in it is where a reader of plain texts may go wrong.
    const int most = manners == Plain ? 1 : 3;
    for (int count = 1 + random.below(most); count > 0 && !result.isEmpty(); --count)
        mutate(result, other);
    return result;
}

void XmlGrammar::mutate(QString &text, const QString &other)
{
    const int length = int(text.length());
    const int at = random.below(length);
    const int count = 1 + random.below(random.below(4) == 0 ? length : 8);
    switch (random.below(8)) {
    case 0:
        text.truncate(at);
        break;
    case 1:
        text.remove(at, count);
        break;
    case 2:
        text.insert(at, text.mid(at, count));
        break;
    case 3:
        text = text.left(at) + other.mid(random.below(int(other.length()) + 1));
        break;
    case 4:
        text.insert(at, text.mid(random.below(length), count));
        break;
    case 5:
    case 6:
        text.replace(at, 1, character());
        break;
    default:
        text.insert(at, chance(80) ? snippet() : ::text(random.oneOf(wellFormedMarkup)));
    }
}
