// What a board may be: Grafana's own types, narrower where they leave things open. Read by types_test.py, which appends the
// boards, and `Unit` of the table of units.

import type { DataTransformerID, DataTransformerInfo, FieldMatcherID, ReducerID, standardTransformers } from '@grafana/data';
import type { PromQuery } from '@grafana/prometheus';
import type {
  Dashboard, DataSourceRef, DataTransformerConfig, FieldConfig, MatcherConfig, Panel, RowPanel, VariableModel,
} from '@grafana/schema';
import type * as stat from '@grafana/schema/dist/esm/raw/composable/stat/panelcfg/x/StatPanelCfg_types.gen';
import type * as state_timeline from
  '@grafana/schema/dist/esm/raw/composable/statetimeline/panelcfg/x/StateTimelinePanelCfg_types.gen';
import type * as table from '@grafana/schema/dist/esm/raw/composable/table/panelcfg/x/TablePanelCfg_types.gen';
import type * as timeseries from '@grafana/schema/dist/esm/raw/composable/timeseries/panelcfg/x/TimeSeriesPanelCfg_types.gen';
import type { Unit } from './unit';

// JSON has the values of enumerations, not their names.
type Plain<T> = unknown extends T ? T
  : T extends string ? `${T}`
  : T extends number | boolean | null | undefined ? T
  : T extends (infer Element)[] ? Plain<Element>[]
  : { [Key in keyof T]: Plain<T[Key]> };

// The same with what `Part` says about some of its fields.
type With<T, Part> = Omit<T, keyof Part> & Part;

type Field<Custom> = With<FieldConfig, { custom?: Partial<Custom>; unit?: Unit }>;

type Property<Custom> =
  | { [Key in keyof Required<Omit<FieldConfig, 'custom'>>]: { id: Key; value: Field<Custom>[Key] } }[
      keyof Omit<FieldConfig, 'custom'>]
  | { [Key in keyof Custom & string]-?: { id: `custom.${Key}`; value: Custom[Key] } }[keyof Custom & string];

type Override<Custom> = { matcher: With<MatcherConfig, { id: FieldMatcherID; options: string }>; properties: Property<Custom>[] };

type OptionsOf<Transformer> = Transformer extends DataTransformerInfo<infer Options> ? Options : never;

type Transformation = With<DataTransformerConfig,
  { id: DataTransformerID.organize; options: OptionsOf<typeof standardTransformers.organizeFieldsTransformer> }>;

type PanelOf<Kind extends string, Options, Custom> = With<Panel, {
  type: Kind;
  title: string;
  datasource: DataSourceRef;
  options: Options;
  fieldConfig: { defaults: Field<Custom>; overrides: Override<Custom>[] };
  targets: With<PromQuery, { datasource: DataSourceRef }>[];
  transformations?: Transformation[];
}>;

type StatOptions = With<stat.Options, { reduceOptions: With<stat.Options['reduceOptions'], { calcs: ReducerID[] }> }>;

type AnyPanel =
  | PanelOf<'stat', StatOptions, {}>
  | PanelOf<'state-timeline', state_timeline.Options, state_timeline.FieldConfig>
  | PanelOf<'table', table.Options, table.FieldConfig>
  | PanelOf<'timeseries', timeseries.Options, timeseries.FieldConfig>;

export type Board = Plain<With<Dashboard, { panels: (AnyPanel | RowPanel)[]; templating: { list: VariableModel[] } }>>;
