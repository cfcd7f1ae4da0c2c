import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertThrows;

import com.zelvox.qorbetta.ModelDescription;
import com.zelvox.qorbetta.Unit;
import com.zelvox.qorbetta.Variable;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.Test;
import org.junit.function.ThrowingRunnable;

/** What an author writes down about a model: all of it is kept, nothing changes, slips are refused. */
public class DescriptionTest {
    private final Unit rpm = Unit.of("rpm").rad(1).s(-1).factor(0.1).offset(2);
    private final ModelDescription.Builder builder = ModelDescription.named("Tank").describedAs("in two\nlines")
            .author("Ann").version("1").license("MIT").copyright("Acme").unit(rpm)
            .input("u", "rpm", "speed", 3).range(0, 5).nominal(10)
            .parameter("p", "", "", -1).nominal(2).range(-1, Double.POSITIVE_INFINITY)
            .output("y", "kg", "mass").output("z", "", "rest", 4).range(5, 6)
            .experiment(1, 2, 0.5, 1e-3);

    private static String told(ModelDescription d) {
        return Stream.of(d.name(), d.description(), d.author(), d.version(), d.license(), d.copyright(),
                d.startTime(), d.stopTime(), d.stepSize(), d.tolerance(), told(d.inputs()), told(d.outputs()),
                told(d.parameters()), d.units()).map(Object::toString).collect(Collectors.joining("|"));
    }

    private static String told(List<Variable> variables) {
        return variables.stream().map(v -> v + " " + v.description() + " " + v.start() + " " + v.min() + " "
                + v.max() + " " + v.nominal()).collect(Collectors.joining(", "));
    }

    @Test
    public void allIsKeptAndNothingChanges() {
        ModelDescription tank = builder.build();
        builder.author("Bob").unit(Unit.of("m")).input("v", "", "", 0).output("w", "", "").parameter("q", "", "", 0);
        assertEquals("Tank|in two\nlines|Ann|1|MIT|Acme|1.0|2.0|0.5|0.001|u [rpm] speed 3.0 0.0 5.0 10.0"
                + "|y [kg] mass 0.0 -Infinity Infinity 1.0, z rest 4.0 5.0 6.0 1.0"
                + "|p  -1.0 -1.0 Infinity 2.0|[rpm]", told(tank));
        assertEquals("M||||||NaN|NaN|NaN|NaN||||[]",
                told(ModelDescription.named("M").build()));
        for (List<?> list : Arrays.asList(tank.inputs(), tank.outputs(), tank.parameters(), tank.units())) {
            assertThrows(UnsupportedOperationException.class, () -> list.remove(0));
        }
        Unit other = rpm.kg(1).m(2).s(3).A(4).K(5).mol(6).cd(7).rad(8).factor(-9);
        other.exponents()[0] = 99;
        assertEquals("[1, 2, 3, 4, 5, 6, 7, 8] -9.0 2.0",
                Arrays.toString(other.exponents()) + " " + other.factor() + " " + other.offset());
        assertEquals("[0, 0, -1, 0, 0, 0, 0, 1] 0.1 2.0",
                Arrays.toString(rpm.exponents()) + " " + rpm.factor() + " " + rpm.offset());
    }

    @Test
    public void slipIsRefusedWhereItIsMade() {
        refused("a variable has no name", () -> builder.input(null, "", "", 0));
        refused("a unit is called ' m', expected a name without control characters and without blanks"
                + " around it", () -> Unit.of(" m"));
        refused("a unit is called 'a\u0001b', expected a name without control characters and without blanks"
                + " around it", () -> Unit.of("a\u0001b"));
        refused("the unit of variable 'a' has no name", () -> builder.output("a", null, ""));
        refused("the author is null, expected a text without control characters", () -> builder.author(null));
        refused("variable 'u' is declared twice", () -> builder.parameter("u", "", "", 0));
        refused("unit 'rpm' is defined twice", () -> builder.unit(rpm.factor(2)));
        refused("the start of variable 'a' is Infinity, expected a finite number",
                () -> builder.input("a", "", "", Double.POSITIVE_INFINITY));
        ModelDescription.Builder other = ModelDescription.named("M").input("i", "", "", 4);
        refused("variable 'i' starts at 4.0, expected a start in its range from 5.0 to 6.0", () -> other.range(5, 6));
        other.parameter("p", "", "", 4);
        refused("variable 'p' starts at 4.0, expected a start in its range from 2.0 to 3.0", () -> other.range(2, 3));
        refused("the range of variable 'z' goes from 6.0 to 5.0, expected a maximum not below the minimum",
                () -> builder.range(6, 5));
        refused("the range of variable 'z' goes from NaN to 6.0, expected a maximum not below the minimum",
                () -> builder.range(Double.NaN, 6));
        refused("the nominal value of variable 'z' is 0.0, expected more than 0", () -> builder.nominal(0));
        refused("range comes first, expected a variable before it", () -> ModelDescription.named("M").range(0, 1));
        refused("the experiment goes from 1.0 to 1.0, expected a stop time behind the start time",
                () -> builder.experiment(1, 1, 0.1));
        refused("the step size is -1.0, expected more than 0", () -> builder.experiment(0, 1, -1));
        refused("the tolerance is 0.0, expected more than 0", () -> builder.experiment(0, 1, 1, 0));
        refused("unit 'rpm': factor 0, expected another number", () -> rpm.factor(0));
        refused("unit 'rpm': offset is NaN, expected a finite number", () -> rpm.offset(Double.NaN));
    }

    private static void refused(String sentence, ThrowingRunnable slip) {
        assertEquals(sentence, assertThrows(IllegalArgumentException.class, slip).getMessage());
    }
}
