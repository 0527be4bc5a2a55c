"""How panels look, and how a board is laid out, in the JSON that Grafana imports."""

import json

# Kinds of panels: width and height of 24 columns, and the options. What is left out here is left to the importer, whose
# defaults differ by version: a stat, for one, turns red at 80 of whatever it counts.
SIZES = {'stat': (6, 4), 'state-timeline': (12, 8), 'timeseries': (12, 8), 'table': (12, 8)}
LEGEND = {'showLegend': True, 'displayMode': 'list', 'placement': 'bottom', 'calcs': []}
OPTIONS = {
    'stat': {'colorMode': 'value', 'graphMode': 'none', 'justifyMode': 'auto', 'orientation': 'auto', 'textMode': 'value',
             'wideLayout': True, 'showPercentChange': False, 'percentChangeColorMode': 'standard',
             'reduceOptions': {'calcs': ['lastNotNull'], 'fields': '', 'values': False}},
    'state-timeline': {'legend': {**LEGEND, 'showLegend': False}, 'tooltip': {'mode': 'single', 'sort': 'none'},
                       'mergeValues': True, 'perPage': 20, 'rowHeight': 0.9, 'showValue': 'auto', 'alignValue': 'left'},
    'timeseries': {'legend': LEGEND, 'tooltip': {'mode': 'multi', 'sort': 'desc'}},
    'table': {'frameIndex': 0, 'showHeader': True, 'cellHeight': 'sm'},
}

# Columns of a table in their order, by the names of labels; those that say nothing about one row are hidden.
COLUMNS = {'alertname': 'Alert', 'severity': 'Severity', 'site': 'Site', 'instance': 'Router', 'interface': 'Interface',
           'slot': 'SIM', 'document': 'Document', 'direction': 'Direction', 'model': 'Model', 'firmware': 'Firmware',
           'version': 'Version', 'Value': 'Value'}
WIDTHS = {'Alert': 260}
HIDDEN = ('Time', '__name__', 'alertstate', 'job', 'kind')


def become_table(panel, value, sort):
    """Gives a panel its columns. Its numbers are called `value`, None hides them; it is sorted by the column `sort`, else by
    its numbers, the greatest first."""
    names = {**COLUMNS, 'Value': value or 'Value'}
    hidden = HIDDEN if value else (*HIDDEN, 'Value')
    panel['transformations'] = [{'id': 'organize', 'options': {
        'excludeByName': {name: True for name in hidden}, 'renameByName': names,
        'indexByName': {name: place for place, name in enumerate(names)}}}]
    if sort or value:
        panel['options'] = {**panel['options'], 'sortBy': [{'displayName': sort or value, 'desc': not sort}]}
    panel['fieldConfig']['defaults']['custom'] = {'minWidth': 80}
    panel['fieldConfig']['overrides'] = [
        {'matcher': {'id': 'byName', 'options': name}, 'properties': [{'id': 'custom.width', 'value': width}]}
        for name, width in WIDTHS.items()]


def steps(*limits):
    """Colours from so much on: pairs of a number, None for the lowest, and a colour."""
    return {'mode': 'absolute', 'steps': [{'value': value, 'color': color} for value, color in limits]}


def yes_or_no(no, yes):
    """The fields of a panel that shows 0 and 1, with the colours of both."""
    words = {'0': {'text': 'no', 'color': no, 'index': 0}, '1': {'text': 'yes', 'color': yes, 'index': 1}}
    return {'mappings': [{'type': 'value', 'options': words}]}


def variable(name, label, query, multi):
    """A list of values that the server knows."""
    made = {'name': name, 'label': label, 'type': 'query', 'query': query, 'refresh': 2, 'sort': 1,
            'datasource': {'type': 'prometheus', 'uid': '${datasource}'}, 'multi': multi, 'includeAll': multi}
    if multi:
        made.update(allValue='.*', current={'text': ['All'], 'value': ['$__all']})
    return made


class Board:
    """Panels are put side by side, rows below one another; the last of a line is as wide as what is left."""

    def __init__(self, uid, title, variables):
        self.panels = []
        self.x = self.y = self.height = 0
        self.board = {
            'uid': uid, 'title': title, 'tags': ['dashboard'], 'schemaVersion': 37, 'version': 1, 'editable': True,
            'refresh': '1m', 'time': {'from': 'now-6h', 'to': 'now'}, 'timezone': 'browser', 'graphTooltip': 1,
            'links': [{'type': 'dashboards', 'tags': ['dashboard'], 'title': 'Boards', 'icon': 'external link', 'tooltip': '',
                       'asDropdown': False, 'targetBlank': False, 'includeVars': True, 'keepTime': True}],
            'templating': {'list': [{'name': 'datasource', 'label': 'Server', 'type': 'datasource', 'query': 'prometheus'},
                                    *variables]},
            'panels': self.panels,
        }

    def place(self, width, height):
        if self.x + width > 24 or height != self.height:
            self.break_line()
        place = {'x': self.x, 'y': self.y, 'w': width, 'h': height}
        self.x += width
        self.height = height
        return place

    def break_line(self):
        if self.x:
            self.panels[-1]['gridPos']['w'] += 24 - self.x
        self.y += self.height
        self.x = self.height = 0

    def add_row(self, title):
        self.panels.append({'id': len(self.panels) + 1, 'type': 'row', 'title': title, 'collapsed': False, 'panels': [],
                            'gridPos': self.place(24, 1)})

    def add_panel(self, panel):
        """A panel is a dictionary: title, form, queries (each with its legend), and perhaps unit, fields, description, height;
        a table has perhaps "value" and "sort", see become_table."""
        form = panel['form']
        source = {'type': 'prometheus', 'uid': '${datasource}'}
        targets = []
        for letter, (query, legend) in zip('ABCDEF', panel['queries']):
            target = {'refId': letter, 'datasource': source, 'expr': query, 'legendFormat': legend}
            if form in ('table', 'stat'):
                target.update(instant=True, range=False, format='table' if form == 'table' else 'time_series')
            targets.append(target)
        width, height = SIZES[form]
        fields = {'unit': panel.get('unit', 'short'), **panel.get('fields', {})}
        if form == 'stat':
            fields.setdefault('thresholds', steps((None, 'text')))
        made = {'id': len(self.panels) + 1, 'type': form, 'title': panel['title'], 'description': panel.get('description', ''),
                'datasource': source, 'gridPos': self.place(width, panel.get('height', height)), 'targets': targets,
                'fieldConfig': {'defaults': fields, 'overrides': []}, 'options': OPTIONS[form]}
        if form == 'table':
            become_table(made, panel.get('value'), panel.get('sort'))
        self.panels.append(made)

    def text(self):
        self.break_line()
        return json.dumps(self.board, indent=1, ensure_ascii=False) + '\n'
