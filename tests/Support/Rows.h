#pragma once

#include <QTest>

#include <tuple>

// The rows of a data-driven test. In the _data function, rows<QString, int>() gives what adds a row; in the
// test, currentRow<QString, int>() gives the values of the row it runs for.
template<typename... Columns>
auto rows() {
    QTest::addColumn<std::tuple<Columns...>>("values");
    return [](const char* name, const Columns&... values) {
        QTest::newRow(name) << std::tuple<Columns...>(values...);
    };
}

template<typename... Columns>
std::tuple<Columns...> currentRow() {
    using Row = std::tuple<Columns...>;
    return *static_cast<Row*>(QTest::qData("values", qMetaTypeId<Row>()));
}
