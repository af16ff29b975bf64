-- SPDX-License-Identifier: Apache-2.0
-- Makes a page of the guide out of what pandoc has read: links to the other pages, the list of pages, the table of keys.
--
-- Metadata: page (its name), order (the names of all pages, in order), folder (of the guide's texts), language (en or zh),
-- version (of the program).

local page, lang, folder
local words = {
    en = {
        contents = 'Pages', previous = 'Previous', next = 'Next', other = '中文',
        key = 'Key', default = 'Default', meaning = 'Meaning', none = 'none',
    },
    zh = {
        contents = '目录', previous = '上一页', next = '下一页', other = 'English',
        key = '键', default = '默认值', meaning = '含义', none = '无',
    },
}

local function read(name)
    local file = io.open(folder .. '/' .. name, 'r')
    if not file then
        return nil
    end
    local text = file:read('a')
    file:close()
    return text
end

local function escaped(text)
    return (text:gsub('&', '&amp;'):gsub('<', '&lt;'):gsub('>', '&gt;'):gsub('"', '&quot;'))
end

local function html(text)
    return pandoc.MetaInlines { pandoc.RawInline('html', text) }
end

-- The text behind the first "# ".
local function titleOf(name)
    local text = read(lang .. '/' .. name .. '.md') or ''
    return ((('\n' .. text):match('\n# +([^\n]*)') or name):gsub('%s+$', ''))
end

local function linkTo(name, before, after)
    return string.format('<a href="%s.html">%s%s%s</a>', name, before or '', escaped(titleOf(name)), after or '')
end

-- The lists of pages before and after this one, and the ways to the neighbours.
local function navigation(order)
    local before, after, neighbours = {}, {}, {}
    local list = before
    for i, name in ipairs(order) do
        if name == page then
            list = after
            if order[i - 1] then
                neighbours.previous = linkTo(order[i - 1], '<span>' .. words[lang].previous .. '</span> ')
            end
            if order[i + 1] then
                neighbours.next = linkTo(order[i + 1], '<span>' .. words[lang].next .. '</span> ')
            end
        else
            list[#list + 1] = '<li>' .. linkTo(name) .. '</li>'
        end
    end
    return table.concat(before, '\n'), table.concat(after, '\n'), neighbours
end

-- keys.txt says at its head how it is written.
local function keyTables()
    local groups, key, default = {}, nil, nil
    for line in ((read('keys.txt') or '') .. '\n'):gmatch('([^\r\n]*)\r?\n') do
        local name, value = line:match('^(%a+): ?(.*)$')
        if line:match('^[%w_]+/[%w_]+$') then
            key = line
        elseif key and name == 'default' then
            default = value
        elseif key and name == lang then
            local group = key:match('^[^/]+')
            if not groups[#groups] or groups[#groups].name ~= group then
                groups[#groups + 1] = { name = group, rows = {} }
            end
            local shown = default == '' and words[lang].none or '`' .. default .. '`'
            table.insert(groups[#groups].rows,
                '| `' .. key .. '` | ' .. shown .. ' | ' .. value:gsub('|', '\\|') .. ' |')
        end
    end
    local blocks = pandoc.List()
    for _, group in ipairs(groups) do
        local text = string.format('| %s | %s | %s |\n|---|---|---|\n', words[lang].key, words[lang].default,
            words[lang].meaning) .. table.concat(group.rows, '\n') .. '\n'
        blocks:insert(pandoc.Header(3, pandoc.Str('[' .. group.name .. ']'), { id = 'group-' .. group.name:lower() }))
        blocks:extend(pandoc.read(text, 'gfm').blocks)
    end
    return blocks
end

local function Meta(meta)
    page = pandoc.utils.stringify(meta.page)
    lang = pandoc.utils.stringify(meta.language)
    folder = pandoc.utils.stringify(meta.folder)
    local order = {}
    for name in pandoc.utils.stringify(meta.order):gmatch('%S+') do
        order[#order + 1] = name
    end
    local before, after, neighbours = navigation(order)
    local other = lang == 'en' and 'zh' or 'en'
    meta.before, meta.after = html(before), html(after)
    meta.here = html('<a href="' .. page .. '.html" aria-current="page">' .. escaped(titleOf(page)) .. '</a>')
    meta.previous = neighbours.previous and html(neighbours.previous)
    meta.next = neighbours.next and html(neighbours.next)
    meta.guide = pandoc.MetaString(titleOf('index'))
    meta.contents = pandoc.MetaString(words[lang].contents)
    meta.pagetitle = pandoc.MetaString(titleOf(page))
    meta.isindex = page == 'index'
    meta.htmllang = pandoc.MetaString(lang == 'zh' and 'zh-CN' or 'en')
    if read(other .. '/' .. page .. '.md') then
        meta.other = html(string.format('<a href="../%s/%s.html" lang="%s" hreflang="%s">%s</a>', other, page,
            other == 'zh' and 'zh-CN' or 'en', other == 'zh' and 'zh-CN' or 'en', words[lang].other))
    end
    return meta
end

local function Link(link)
    local name = link.target:match('^([%w-]+)%.md')
    if name and pandoc.utils.stringify(link.content) == name .. '.md' then
        link.content = pandoc.Str(titleOf(name))
    end
    if not link.target:match('^%a[%w+.-]*:') then
        link.target = link.target:gsub('%.md$', '.html'):gsub('%.md#', '.html#')
    end
    return link
end

-- A click shows a picture in its own size.
local function Image(image)
    return pandoc.Link(image, image.src, '', { class = 'picture' })
end

local function RawBlock(block)
    if block.text:match('^%s*<!%-%- *keys *%-%->%s*$') then
        return keyTables()
    end
    return block
end

-- Columns as wide as what is in them, and a table wider than the screen scrolls by itself.
local function Table(tbl)
    tbl.colspecs = pandoc.List(tbl.colspecs):map(function(column) return { column[1], nil } end)
    return pandoc.Div({ tbl }, { class = 'table' })
end

-- Under the page's name in the list of pages stand its headings.
local function Pandoc(document)
    local list = {}
    for _, block in ipairs(document.blocks) do
        if block.t == 'Header' and block.level == 2 then
            list[#list + 1] = string.format('<li><a href="#%s">%s</a></li>', escaped(block.identifier),
                escaped(pandoc.utils.stringify(block)))
        end
    end
    document.meta.headings = #list > 0 and html(table.concat(list, '\n')) or nil
    return document
end

return { { Meta = Meta }, { RawBlock = RawBlock }, { Image = Image }, { Link = Link, Table = Table }, { Pandoc = Pandoc } }
