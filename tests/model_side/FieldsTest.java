import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import com.zelvox.qorbetta.DefaultExperiment;
import com.zelvox.qorbetta.DisplayUnit;
import com.zelvox.qorbetta.FieldModel;
import com.zelvox.qorbetta.Input;
import com.zelvox.qorbetta.ModelDescription;
import com.zelvox.qorbetta.ModelInfo;
import com.zelvox.qorbetta.Output;
import com.zelvox.qorbetta.Parameter;
import com.zelvox.qorbetta.Unit;
import com.zelvox.qorbetta.UnitDefinition;
import com.zelvox.qorbetta.Variable;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Consumer;
import java.util.stream.Collectors;
import org.junit.Test;
import org.junit.function.ThrowingRunnable;

/** Models whose variables are fields: what becomes a variable, and where its values go. */
public class FieldsTest {
    private static final double[] NONE = {};

    abstract static class Quiet extends FieldModel {
        @Override
        protected void step(double time, double stepSize) throws Exception {
        }
    }

    @UnitDefinition(name = "bar", kg = 1, m = -1, s = -2, factor = 1e5,
            displayUnits = @DisplayUnit(name = "psi", factor = 6894.757))
    static class Pump {
        @Parameter(unit = "bar", displayUnit = "psi", nominal = 50) private double limit = 7;
        @Input double speed;
        transient Plant plant;
    }

    static class BigPump extends Pump {
        @Output double power;
    }

    static class Hydraulics<T> { // which has no variables itself, nor does T tell of any
        private final T pump;
        final List<String> names = new ArrayList<>();

        Hydraulics(T pump) {
            this.pump = pump;
        }
    }

    @DefaultExperiment(startTime = 1, stopTime = 3, stepSize = 0.5)
    @UnitDefinition(name = "K", K = 1)
    @UnitDefinition(name = "bar", kg = 1, m = -1, s = -2, factor = 1e5,
            displayUnits = @DisplayUnit(name = "psi", factor = 6894.757))
    abstract static class Base extends FieldModel {
        @Output private double last = -1;
        @Parameter(min = 0, max = 9, description = "of the base") double first = 1;
    }

    static class Plant extends Base {
        @Input(unit = "K", start = 300) private double outside;
        @Output final double[] heat = new double[2];
        Object machines = new Hydraulics<>(new BigPump());
        @Parameter double[] table = {5, 6, 7};
        @Input(start = 4) double[] flows = new double[2];
        Pump[] pumps = {new Pump(), new BigPump()};
        @Output double end = 8;
        static Pump shared = new Pump();
        Inner inner = new Inner();
        Runnable computing = () -> compute(2000); // holds the model, but is no part of it
        List<String> calls = new ArrayList<>();

        class Inner {
            @Parameter double part;
        }

        Pump pump() {
            return (Pump) ((Hydraulics<?>) machines).pump;
        }

        @Override
        protected void initialize() {
            calls.add("initialize");
            compute(1000);
        }

        @Override
        protected void step(double time, double stepSize) {
            calls.add("step " + time + " " + stepSize);
            computing.run();
        }

        private void compute(double base) {
            heat[0] = base + outside;
            heat[1] = base + flows[1];
            ((BigPump) pump()).power = base + pump().speed + table[2] + pump().limit;
            ((BigPump) pumps[1]).power = base + pumps[0].speed * 10 + pumps[1].speed + inner.part;
        }
    }

    private static String text(List<Variable> variables) {
        return variables.stream().map(v -> v + "=" + v.start()).collect(Collectors.joining(", "));
    }

    @Test
    public void variablesStandInTheOrderOfDeclarationWithThoseOfTheBaseFirst() {
        ModelDescription plant = new Plant().describe();
        assertEquals("outside [K]=300.0, machines.pump.speed=0.0, flows[1]=4.0, flows[2]=4.0,"
                + " pumps[1].speed=0.0, pumps[2].speed=0.0", text(plant.inputs()));
        assertEquals("last=-1.0, heat[1]=0.0, heat[2]=0.0, machines.pump.power=0.0,"
                + " pumps[2].power=0.0, end=8.0", text(plant.outputs()));
        assertEquals("first=1.0, machines.pump.limit [bar]=7.0, table[1]=5.0, table[2]=6.0,"
                + " table[3]=7.0, pumps[1].limit [bar]=7.0, pumps[2].limit [bar]=7.0,"
                + " inner.part=0.0", text(plant.parameters()));
        Variable first = plant.parameters().get(0);
        assertEquals("of the base 0.0 9.0 1.0 ''", first.description() + " " + first.min() + " "
                + first.max() + " " + first.nominal() + " '" + first.displayUnit() + "'");
        Variable limit = plant.parameters().get(5);
        assertEquals("psi 50.0", limit.displayUnit() + " " + limit.nominal());
    }

    @Test
    public void classSaysTheRest() {
        @ModelInfo(name = "n", description = "d", author = "a", version = "v", license = "l",
                copyright = "c")
        @DefaultExperiment(stopTime = 2, stepSize = 1, tolerance = 1e-6)
        @UnitDefinition(name = "all", kg = 1, m = 2, s = 3, A = 4, K = 5, mol = 6, cd = 7, rad = 8,
                factor = 9, offset = 10, displayUnits = {@DisplayUnit(name = "one"),
                    @DisplayUnit(name = "other", factor = 11, offset = 12)})
        class Whole extends Quiet {
        }
        ModelDescription whole = new Whole().describe();
        assertEquals("n d a v l c 0.0 2.0 1.0 1.0E-6", String.join(" ", whole.name(),
                whole.description(), whole.author(), whole.version(), whole.license(),
                whole.copyright()) + " " + whole.startTime() + " " + whole.stopTime() + " "
                + whole.stepSize() + " " + whole.tolerance());
        Unit all = whole.units().get(0);
        Unit other = all.displayUnits().get(1);
        assertEquals("all 9.0 10.0 [one, other] 11.0 12.0", all + " " + all.factor() + " "
                + all.offset() + " " + all.displayUnits() + " " + other.factor() + " "
                + other.offset());
        for (Unit unit : Arrays.asList(all, other)) {
            assertArrayEquals(new int[] {1, 2, 3, 4, 5, 6, 7, 8}, unit.exponents());
        }
        ModelDescription plant = new Plant().describe();
        assertEquals("Plant 1.0 3.0 0.5 NaN [K, bar]", plant.name() + " " + plant.startTime() + " "
                + plant.stopTime() + " " + plant.stepSize() + " " + plant.tolerance() + " "
                + plant.units());
    }

    @Test
    public void everyValueReachesItsFieldAndIsReadFromIt() throws Exception {
        Plant plant = new Plant();
        plant.describe();
        assertEquals(300, plant.outside, 0);
        double[] inputs = {1, 2, 5, 6, 3, 4};
        double[] outputs = new double[6];
        for (int i = 0; i < 8; i++) {
            plant.set(i, 10 + i);
        }
        assertArrayEquals(new double[] {10, 11, 15, 16, 17}, new double[] {plant.first,
            plant.pump().limit, plant.pumps[0].limit, plant.pumps[1].limit, plant.inner.part}, 0);
        assertArrayEquals(new double[] {12, 13, 14}, plant.table, 0);
        plant.initialize(inputs, outputs);
        assertArrayEquals(new double[] {-1, 1001, 1006, 1000 + 2 + 14 + 11, 1000 + 30 + 4 + 17, 8},
                outputs, 0);
        inputs[3] = 60;
        plant.set(7, 0);
        plant.step(0.25, 0.5, inputs, outputs);
        assertArrayEquals(new double[] {-1, 2001, 2060, 2000 + 2 + 14 + 11, 2000 + 30 + 4, 8},
                outputs, 0);
        assertArrayEquals(new double[] {5, 60}, plant.flows, 0);
        assertEquals(Arrays.asList("initialize", "step 0.25 0.5"), plant.calls);
        class Constant extends Quiet { // with nothing to initialize, and described by nobody
            @Output double out = 3;
        }
        new Constant().initialize(NONE, outputs);
        assertEquals(3, outputs[0], 0);
    }

    static class Fixed extends Quiet {
        @Output final double level = 0;
    }

    static class Static extends Quiet {
        @Input static double level;
    }

    static class Whole extends Quiet {
        @Parameter int level;
    }

    static class Matrix extends Quiet {
        @Parameter double[][] level = {{1}};
    }

    static class Absent extends Quiet {
        @Input double[] level;
    }

    static class Empty extends Quiet {
        @Input double[] level = {};
    }

    static class Shadow extends Plant {
        @Output double end;
    }

    static class Both extends Quiet {
        @Input @Output double level;
    }

    static class Twice extends Quiet {
        @Parameter(start = 2) double level = 3;
    }

    static class NoPump extends Quiet {
        Pump level;
    }

    static class NoPumps extends Quiet {
        BigPump[] level;
    }

    static class FewPumps extends Quiet {
        Object[] level = {new Pump(), null};
    }

    static class NullPumps extends Quiet {
        Pump[] level = {null};
    }

    static class Casing {
        Pump level;
    }

    static class NoPumpBelow extends Quiet {
        Object casing = new Casing();
    }

    static class Nest extends Quiet {
        Pump[][] level = {{new Pump()}};
    }

    static class OnePump extends Quiet {
        Pump one = new Pump();
        Pump level = one;
    }

    static class OneArray extends Quiet {
        @Input double[] one = {1};
        @Output double[] level = one;
    }

    static class Loop extends Quiet {
        @Input double one;
        final Loop level = this;
    }

    @UnitDefinition(name = "km", m = 1, factor = 1e3,
            displayUnits = @DisplayUnit(name = "cm", factor = 0.01))
    static class Shown extends Quiet {
        @Input(unit = "m", displayUnit = "cm") double level;
    }

    @UnitDefinition(name = "K", K = 2)
    static class Dispute extends Plant {
    }

    @Test
    public void wrongUseIsOneSentenceWithClassAndField() {
        Object[][] cases = {
            {new Fixed(), "Fixed.level is final"}, {new Static(), "Static.level is static"},
            {new Whole(), "Whole.level is of the type int, expected double or double\\[\\]"},
            {new Matrix(), "Matrix.level is of the type double\\[\\]\\[\\]"},
            {new Absent(), "Absent.level is null"}, {new Empty(), "Empty.level is empty"},
            {new Shadow(), "Shadow.end .*'end' is declared twice"},
            {new Both(), "Both.level has 2 of the annotations @Input, @Output"},
            {new Twice(), "Twice.level starts at 3.0 .* and at 2.0 in its annotation"},
            {new NoPump(), "NoPump.level holds null"}, {new NoPumps(), "NoPumps.level holds null"},
            {new FewPumps(), "FewPumps.level holds null"},
            {new NullPumps(), "NullPumps.level holds null"},
            {new NoPumpBelow(), "Casing.level holds null"}, {new Nest(), "Nest.level holds arrays"},
            {new OnePump(), "OnePump.level is the same object as one,"},
            {new OneArray(), "OneArray.level is the same object as one,"},
            {new Loop(), "Loop.level is the same object as the model,"},
            {new Shown(), "variable 'level' is shown in 'cm', .*@DisplayUnit\\(name = \"cm\", .*"
                + "@UnitDefinition of \"m\", or with Unit.of\\(\"m\"\\).display\\(\"cm\""},
            {new Dispute(), "FieldsTest.Dispute defines the unit 'K', which is defined otherwise"},
        };
        for (Object[] wrong : cases) {
            Exception e = assertThrows(wrong[1].toString(), IllegalArgumentException.class,
                    ((FieldModel) wrong[0])::describe);
            assertTrue(e.getMessage(), e.getMessage().replace('$', '.')
                    .matches("(FieldsTest\\.)?" + wrong[1] + ".*"));
        }
    }

    @Test
    @SuppressWarnings("unchecked")
    public void whatTakesThePlaceOfAnArrayOrObjectIsNoticedAtOnce() throws Throwable {
        Object[][] cases = { // with which of the calls below fail
            {"-x-", "Plant.table became an array of 2 elements, expected one of 3",
                (Consumer<Plant>) p -> p.table = new double[2]},
            {"--x", "Plant.flows became an array of 4 elements, expected one of 2",
                (Consumer<Plant>) p -> p.flows = new double[4]},
            {"--x", "Plant.flows became null, expected one of 2", (Consumer<Plant>) p -> p.flows = null},
            {"xxx", "Plant.machines became another", (Consumer<Plant>) p -> p.machines = new Hydraulics<>(new BigPump())},
            {"xxx", "Plant.pumps became another", (Consumer<Plant>) p -> p.pumps = p.pumps.clone()},
            {"xxx", "Plant.pumps became another", (Consumer<Plant>) p -> p.pumps[0] = new Pump()},
            {"xxx", "Plant.pumps became another", (Consumer<Plant>) p -> p.pumps[1] = new BigPump()},
        };
        double[] values = new double[6];
        for (Object[] change : cases) {
            class Changing extends Plant {
                @Override
                protected void step(double time, double stepSize) {
                    ((Consumer<Plant>) change[2]).accept(this);
                }
            }
            Plant plant = new Changing();
            plant.initialize(values, values);
            StringBuilder failed = new StringBuilder();
            ThrowingRunnable step = () -> plant.step(0, 1, values, values);
            for (ThrowingRunnable call : Arrays.asList(step, () -> plant.set(2, 1), step)) {
                try {
                    call.run();
                    failed.append('-');
                } catch (IllegalStateException e) {
                    failed.append('x');
                    assertTrue(e.getMessage(), e.getMessage().contains(change[1].toString()));
                }
            }
            assertEquals(change[1].toString(), change[0], failed.toString());
        }
        Plant plant = new Plant(); // one of the same length is as good
        plant.initialize(values, values);
        plant.table = new double[3];
        plant.set(3, 4);
        assertEquals(4, plant.table[1], 0);
    }
}
